#pragma once

#include <cstddef>
#include <vector>

// Watches what a test program and the libraries in it take from operator new and give back to
// operator delete: a program linked with AllocationWatch.cpp replaces both. For one thread.
namespace allocations {

// Blocks taken and not given back.
long alive();

// Lets the nth allocation from now on fail, counted from 1; 0: none.
void failAt(long nth);

// What is allocated while it lives, but for the scripted platform's own; can let these allocations
// fail from the nth on, or the nth alone.
class Watch {
public:
  explicit Watch(long firstFailure = 0, bool failsOnward = false);
  ~Watch();
  Watch(const Watch&) = delete;
  Watch& operator=(const Watch&) = delete;

  static long Count(); // tried under the last watch
  static long Alive(); // of all watches so far, whenever given back
};

// The blocks that are given back while it lives, in order. Of use for addresses a test knows.
class FreedBlocks {
public:
  FreedBlocks();
  ~FreedBlocks();
  FreedBlocks(const FreedBlocks&) = delete;
  FreedBlocks& operator=(const FreedBlocks&) = delete;

  // Which of these were given back, by their place in `known`, in the order in which they were.
  std::vector<int> PlacesOf(const std::vector<const void*>& known) const;

private:
  std::vector<const void*> m_blocks;
};

} // namespace allocations
