// Stands in the sandbox in place of each command that ends a system, and only writes down how it was called.
#include <cstdio>
#include <cstdlib>

#include "host/sandbox/recorder/command_note.h"
#include "host/sandbox/sandbox_layout.h"
#include "host/sandbox/sandbox_mode.h"

namespace {

// Nobody calls for it: the guard finds it in the file.
[[gnu::used]] const char* const signature = volad_dev::rulesOf(volad_dev::SandboxMode::Recording).signature;

} // namespace

int main(int argc, char** argv) {
    if (!volad_dev::noteCommand(argc, argv)) {
        std::perror(volad_dev::layout::kCommandRecord);
        return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}
