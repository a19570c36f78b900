#include "simulation/outcome_table.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <iostream>

#include "rig/arguments.h"
#include "rig/files.h"

namespace em::test {
namespace {

// What the tests judge by is what people read.
TEST(OutcomeTable, StandsInThePage) {
    if (argumentOr("table", 0) != 0) {
        std::cout << outcomePage();
    }
    if (!std::filesystem::exists(EM_RELIABILITY_PAGE)) {
        GTEST_SKIP() << "no page";
    }
    EXPECT_NE(readFile(EM_RELIABILITY_PAGE).find(outcomePage()), std::string::npos)
        << "scripts/simulate --table=1 prints it:\n"
        << outcomePage();
}

} // namespace
} // namespace em::test
