#pragma once

#include <cstddef>

// A program linked with XMLMemory.cpp gives libxml2 memory functions of its own before anything else uses
// it, as a host may. They count, and they fail when they are told to.
namespace memory {

// Calls that asked for memory, on all threads.
long requests();
// Blocks given and not taken back, on all threads.
long alive();
bool isAlive(const void* block);

// Lets the nth request from now on fail, counted from 1, and all behind it if so wanted; 0: none.
void failAt(long nth, bool andAllBehind);
// Whether it has come to that.
bool hasFailed();

} // namespace memory
