// The process-wide objects of the library, set up in a fixed order when it is loaded and torn down in reverse
// when it is unloaded or the process exits. No other object of ours is built at load.
#pragma once

namespace em {

// Called by the load-time initialiser only. Writes no line, starts no thread, lets no exception out.
void SetUpProcessState() noexcept;
// Switches the trace and the locks off first; joins nothing and writes nothing, since it runs under the
// loader's lock.
void TearDownProcessState() noexcept;

} // namespace em
