#include "host/check/message_check.h"

#include <algorithm>
#include <iterator>
#include <system_error>

#include <fmt/format.h>

#include "catalogue/message_directory.h"
#include "contract/places.h"
#include "frame/configuration/installation_roots.h"
#include "host/files/message_entries.h"
#include "markup/xml_document.h"

namespace volad_dev {
namespace {

// The one where the host stands first, as em::CLogMsgFile::Open has it. The second is the registered one.
std::vector<std::string> searchedDirectories(const Surroundings& host, const em::InstallationRoots& roots) {
    std::vector<std::string> directories{host.directory};
    const std::string registered = em::messageDirectory(roots, host.directory);
    // The root directory is "".
    const std::string second = registered.empty() ? "/" : pathFrom(host.directory, registered);
    if (second != host.directory) {
        directories.push_back(second);
    }
    return directories;
}

class Look {
public:
    explicit Look(const MachineRoot& root) : m_root(root) {}

    void lookIn(const std::vector<std::string>& directories) {
        for (const std::string& directory : directories) {
            lookAt(joined(directory, em::place::kEventMessages));
        }
    }

    // Without roots, or without their directory, that is what is wrong.
    void lookForOne(const std::string& registered) {
        if (m_result.path.empty() && m_result.findings.empty() && m_root.look(registered).isDirectory()) {
            add(joined(registered, em::place::kEventMessages), "message-file-missing",
                "is not there: the reasons have the names of the module's own table");
        }
    }

    MessageFile take() { return std::move(m_result); }

private:
    void add(const std::string& path, const char* code, const std::string& text) {
        m_result.findings.push_back({path, 0, code, text});
    }

    void lookAt(const std::string& path) {
        if (m_root.look(path).missing()) {
            return;
        }
        if (!m_result.path.empty()) {
            add(path, "message-file-shadowed",
                fmt::format("is not read, \"{}\" is found first", m_result.path));
            return;
        }
        em::FileContent content;
        if (const int error = m_root.read(path, em::kLargestXmlFile, 0, content); error != 0) {
            add(path, "unreadable", "cannot be read: " + std::generic_category().message(error));
            return;
        }
        em::XmlDocument document;
        const em::XmlLoadResult loaded = document.loadBytes(content.data.get(), content.size);
        if (!loaded.loaded()) {
            add(path, "not-loaded", fmt::format("not loaded: {} (byte {})", loaded.reason, loaded.offset));
            return;
        }
        m_result.path = path;
        std::ranges::move(findProblems(path, readMessageEntries(document)),
                          std::back_inserter(m_result.findings));
    }

    const MachineRoot& m_root;
    MessageFile m_result;
};

} // namespace

MessageFile checkMessages(const MachineRoot& root, const Surroundings& host) {
    const em::InstallationRoots roots = em::findInstallationRoots();
    const std::vector<std::string> directories = searchedDirectories(host, roots);
    Look look(root);
    look.lookIn(directories);
    if (!roots.binRoot.empty() || !roots.fileRoot.empty()) {
        look.lookForOne(directories.back());
    }
    return look.take();
}

} // namespace volad_dev
