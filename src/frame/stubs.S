/* The exported symbols: one stub a name of exports.inc, 16 bytes apart, in the order of the list. A stub jumps through
   its slot of ownEntryTable and leaves every argument and the return address untouched. */

        .text
        .balign 16
        .set    ordinal, 0

#define QLM_NAME(name)                                  \
        .balign 16;                                     \
        .globl  name;                                   \
        .type   name, @function;                        \
name:   jmp     *(ownEntryTable + 8 * ordinal)(%rip);   \
        .size   name, . - name;                         \
        .set    ordinal, ordinal + 1;

#include "frame/exports.inc"

        .section .note.GNU-stack, "", @progbits
