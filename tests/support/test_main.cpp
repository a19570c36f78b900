// Every suite starts here: not one test, nor the list of them, without the sandbox.
#include <gtest/gtest.h>

#include "host/sandbox/sandbox_guard.h"
#include "rig/arguments.h"

int main(int argc, char** argv) {
    volad_dev::assertSandboxInForce();
    testing::InitGoogleTest(&argc, argv);
    em::test::arguments.assign(argv + 1, argv + argc);
    return RUN_ALL_TESTS();
}
