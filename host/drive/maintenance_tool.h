// What the sandbox's stand-in for the maintenance tool says, changed while the module runs.
#pragma once

#include "host/sandbox/sandbox_options.h"

namespace volad_dev {

// By the two files of the scratch directory that the stand-in looks at each time it is called.
class MaintenanceTool {
public:
    MaintenanceTool() = default;
    ~MaintenanceTool(); // the files of a directory of the machine go again
    MaintenanceTool(const MaintenanceTool&) = delete;
    MaintenanceTool& operator=(const MaintenanceTool&) = delete;

    // Whether such files are there that are not of set(): they count, and are somebody's.
    [[nodiscard]] bool isForeign() const;
    // From the next query on. A missing tool is one that ends as a shell ends that finds none. Throws
    // std::system_error; Failure for files that are not its own.
    void set(Maintenance maintenance);

private:
    bool m_set = false;
};

} // namespace volad_dev
