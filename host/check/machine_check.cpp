#include "host/check/machine_check.h"

#include <fmt/format.h>

#include "contract/places.h"
#include "contract/shutdown_actions.h"
#include "host/check/program_search.h"
#include "host/common/search_path.h"

namespace volad_dev {
namespace {

namespace place = em::place;

class Look {
public:
    Look(const MachineRoot& root, const Surroundings& host) : m_root(root), m_host(host) {}

    MachineLook run() {
        lookAtProgram(place::kShell, "shell-missing", "cannot be executed: no job and no command is started");
        for (const em::ShutdownAction& action : em::kShutdownActions) {
            lookAtProgram(
                action.command, "power-command-missing",
                fmt::format("cannot be executed: a request for {} leaves the machine up", action.name));
        }
        lookAtPath();
        lookAtGate();
        lookAtRestart();
        return std::move(m_result);
    }

private:
    void add(const std::string& file, const char* code, const std::string& text) {
        m_result.findings.push_back({file, 0, code, text});
    }

    void lookAtProgram(const std::string& path, const char* code, const std::string& text) {
        if (m_root.look(path).isProgram()) {
            m_result.programs.push_back(path);
        } else {
            add(path, code, text);
        }
    }

    void lookAtPath() {
        for (const std::string& directory : directoriesOf(m_host.path)) {
            if (!directory.starts_with('/')) {
                add(m_host.pathSource, "path-not-absolute",
                    fmt::format("PATH \"{}\": \"{}\" begins where the host stands, which a job may move",
                                m_host.path, directory));
            }
        }
    }

    void lookAtGate() {
        const std::string tool = programOf(place::kMaintenanceQuery);
        m_result.gateTool = findProgram(m_root, m_host, tool);
        if (m_result.gateTool) {
            m_result.programs.push_back(*m_result.gateTool);
        } else {
            add(m_host.pathSource, "gate-tool-missing",
                fmt::format("there is no {} in PATH \"{}\": each request ends at the gate", tool,
                            m_host.path));
        }
    }

    // With a service manager a file is left for the agents' own script, whose directory is the store's, too.
    void lookAtRestart() {
        const Seen file = m_root.look(place::kRestartJobFile);
        if (m_root.look(place::kServiceManager).there() && file.there() && !file.isFile()) {
            add(place::kRestartJobFile, "restart-file-blocked",
                "is no regular file: the agents' restart is not handed on");
        }
        lookAtProgram(programOf(place::kRestartAgents), "restart-command-missing",
                      "cannot be executed: the agents are not restarted");
    }

    const MachineRoot& m_root;
    const Surroundings& m_host;
    MachineLook m_result;
};

} // namespace

MachineLook checkMachine(const MachineRoot& root, const Surroundings& host) {
    return Look(root, host).run();
}

} // namespace volad_dev
