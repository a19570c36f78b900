#include "module/files.h"

#include <sys/stat.h>

#include <cstdio>
#include <fstream>
#include <stdexcept>

#include "host/sandbox/sandbox_layout.h"

namespace module_test {
namespace {

constexpr const char* kGate = "/scratch/held-job.gate";

} // namespace

void writeFile(const std::string& path, const std::string& content) {
    const std::string fresh = path + ".new";
    std::ofstream(fresh) << content;
    if (::chmod(fresh.c_str(), 0755) != 0 || std::rename(fresh.c_str(), path.c_str()) != 0) {
        throw std::runtime_error("cannot write " + path);
    }
}

void setMaintenance(const std::string& answer) {
    writeFile(volad_dev::layout::kMaintenanceAnswer, answer + "\n");
}

HeldJob::HeldJob() {
    if (::mkfifo(kGate, 0600) != 0) {
        throw std::runtime_error("cannot make the job's gate");
    }
    writeFile(kPath, std::string("#!/bin/sh\nread word < ") + kGate + "\n");
}

void HeldJob::release() {
    if (!m_released) {
        m_released = true;
        std::ofstream(kGate) << "go\n"; // opens as soon as the job reads
    }
}

} // namespace module_test
