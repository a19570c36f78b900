#include "platform/installation_roots.h"

namespace em {

// Without a registry store nothing is known of the installation.
InstallationRoots FindInstallationRoots() {
    return {};
}

} // namespace em
