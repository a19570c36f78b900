#include "simulation/outcome_table.h"

#include <gtest/gtest.h>

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
    EXPECT_NE(readFile(EM_RELIABILITY_PAGE).find(outcomePage()), std::string::npos)
        << "scripts/simulate --table=1 prints it:\n"
        << outcomePage();
}

} // namespace
} // namespace em::test
