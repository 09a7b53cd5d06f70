// Allocation goes through the core library, so that a program can put its own allocator in place.
#include "frame/memory.h"

void* ownMalloc(int32_t length) { return length < 1 ? nullptr : qlmMalloc(length); }

void ownFree(void* block) { qlmFree(block); }
