// Where a thread of the module begins and ends: the start routine of each thread does its work through
// runThreadBody.
#pragma once

#include <utility>

#include "trace/boundary.h"

namespace em {

// The line with which a thread of the module ends. Never throws, but for the forced unwind.
void traceThreadReturn();

// Runs the body of a thread and returns null, the thread's value. An exception becomes one line with the
// routine's name; a cancelled thread unwinds through here and writes nothing. Give it a local of
// CThread::Routine's shape:
//   void* WorkerThread(void* self) { return runThreadBody("WorkerThread()", [self] { ... }); }
template <class Body>
void* runThreadBody(const char* name, Body&& body) {
    static_cast<void>(atBoundary(name, std::forward<Body>(body)));
    traceThreadReturn();
    return nullptr;
}

} // namespace em
