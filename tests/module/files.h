// Files that a test lays out for the module's children.
#pragma once

#include <string>

namespace module_test {

// Appears whole under its name, executable: the maintenance tool may be reading at any moment.
void writeFile(const std::string& path, const std::string& content);
// What the maintenance tool answers from now on.
void setMaintenance(const std::string& answer);

// A job that runs until it is released.
class HeldJob {
public:
    HeldJob();
    ~HeldJob() { release(); }
    HeldJob(const HeldJob&) = delete;
    HeldJob& operator=(const HeldJob&) = delete;

    static constexpr const char* kPath = "/scratch/held-job.sh";
    void release();

private:
    bool m_released = false;
};

} // namespace module_test
