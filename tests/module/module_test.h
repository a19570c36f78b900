// What the tests of the module that ships need: the module as a host holds it, its files, what it says and
// does.
#pragma once

#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

#include "module/loaded_module.h"
#include "rig/files.h"
#include "rig/sandbox.h"

namespace em::test {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using Lines = std::vector<std::string>;

} // namespace em::test
