// Who else than root may write what the module reads and what root runs for it.
#pragma once

#include <set>
#include <string>
#include <vector>

#include "host/check/machine_root.h"
#include "host/files/findings.h"

namespace volad_dev {

enum class Use { Read, Run };

// Looks at files and at the directories above them, by their names and by where links lead; each is told of
// once. Modes and owners count, access lists do not. What is not there is passed over.
class PermissionCheck {
public:
    explicit PermissionCheck(const MachineRoot& root) : m_root(root) {}

    void file(const std::string& path, Use use);
    // A directory in which any new name would be taken up.
    void place(const std::string& directory, Use use);

    [[nodiscard]] std::vector<Finding> take() { return std::move(m_findings); }

private:
    void above(const std::string& path, Use use);
    void lookAt(const std::string& path, Use use, bool anyName);

    const MachineRoot& m_root;
    std::set<std::string> m_seen; // real paths
    std::vector<Finding> m_findings;
};

} // namespace volad_dev
