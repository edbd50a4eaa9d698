#pragma once

// Memory that runs out where a test wants it to, for one thread. A program linked with
// FailingMemory.cpp has its operator new and delete replaced.
namespace memory {

enum class Source { New, Curl, Both };
enum class Course { Once, FromThenOn };

// libcurl takes its memory here too. REQUIRES: it has not been initialised.
void ServeCurl();

// The nth allocation of this thread from now on fails, counted from 1.
void FailAt(long nth, Source source, Course course);
// No more fail. How many did since FailAt.
long StopFailing();

// Blocks that this thread has taken less those that it has given back.
long BlocksHeld(Source source);

} // namespace memory
