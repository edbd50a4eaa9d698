#pragma once

namespace zep {

// libxslt keeps three functions for the whole process: what loads an included stylesheet, what
// writes the errors of a compilation, and what watches instructions. Puts ours in front of those
// that are there, unless they are in front already. Ours pass everything through on a thread without an
// open XMLSession, so that a host that uses libxslt itself notices nothing. (Watching can't be
// chained: a host that debugs stylesheets loses its watcher.)
void EnsureXMLHooks();

// The error function of a transformation whose error context is the session that it runs in.
void OnTransformationError(void* session, const char* format, ...);

} // namespace zep
