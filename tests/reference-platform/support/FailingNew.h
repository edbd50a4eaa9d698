#pragma once

// A program linked with FailingNew.cpp replaces operator new. For one thread.
namespace allocations {

// Lets the nth allocation from now on fail, counted from 1; 0: none.
void failAt(long nth);
// And all behind it.
void failFrom(long nth);
// Whether it has come to that.
bool hasFailed();

} // namespace allocations
