// The debug object where the module looks for it: its symbol in the process.
#include "rig/recording.h"

extern em::test::RecordingDebugObject Debug;
__attribute__((visibility("default"))) constinit em::test::RecordingDebugObject Debug;
