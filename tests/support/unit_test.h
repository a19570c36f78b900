// What most unit tests need: the fake system seam, a directory of their own, the trace's lines.
#pragma once

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <functional>
#include <future>
#include <map>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

#include "base/system_fake.h"
#include "contract/places.h"
#include "rig/files.h"
#include "support/trace_capture.h"

namespace em::test {

// A script of the fake and an empty directory, both gone at the end of the test.
struct UnitTest : testing::Test {
    const fake::Scope m_script;
    const TemporaryDirectory m_files;
};

// Runs the body in so many threads at once, each with its number, to their end.
template <class Body>
void inThreads(int count, const Body& body) {
    std::vector<std::jthread> threads;
    for (int thread = 0; thread < count; ++thread) {
        threads.emplace_back([&body, thread] { body(thread); });
    }
}

} // namespace em::test
