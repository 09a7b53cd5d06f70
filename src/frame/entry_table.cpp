// The table of slots behind the exported stubs (stubs.S): one writable pointer an export, in the order of exports.inc,
// set at link time to the implementation and never written by the library afterwards.
#include "frame/frame.h"

#define QLM_NAME(name) extern "C" decltype(name) own_##name;
#include "frame/exports.inc"
#undef QLM_NAME

// reinterpret_cast of a function's address is still a link-time constant, so the table lies in .data, ready to use.
extern "C" {
extern void* ownEntryTable[];
#define QLM_NAME(name) reinterpret_cast<void*>(&own_##name),
void* ownEntryTable[] = {
#include "frame/exports.inc"
};
#undef QLM_NAME
}
