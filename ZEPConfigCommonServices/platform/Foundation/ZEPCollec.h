#pragma once

// What the raw collections share.
class ZEPCollec {
public:
  // What RemoveAll does with the storage of a collection.
  enum MemoryHandling : int {
    KeepMemory = 0,    // stays reserved for what is appended next
    ReleaseMemory = 1, // is given back
  };
};
