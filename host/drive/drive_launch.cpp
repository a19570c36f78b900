#include "host/drive/drive_launch.h"

#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include <fmt/format.h>

#include "host/common/failure.h"
#include "host/common/standard_streams.h"
#include "host/common/visible_text.h"
#include "host/drive/drive_session.h"
#include "host/drive/line_buffer.h"
#include "host/drive/script_parser.h"
#include "host/hosting/settings.h"
#include "host/launch/job_world.h"
#include "host/launch/module_files.h"

namespace volad_dev {
namespace {

namespace fs = std::filesystem;

// All of it, before anything runs. The first fault is thrown as a Failure with its place.
std::vector<Statement> checkedScript(const DriveOptions& options, const std::string& text) {
    ScriptParser parser(options.script, options.here);
    LineBuffer lines;
    lines.take(text);
    std::vector<Statement> statements;
    const auto add = [&](const std::string& line) {
        if (std::optional<Statement> statement = parser.next(line)) {
            statements.push_back(std::move(*statement));
        }
    };
    while (const std::optional<std::string> line = lines.next()) {
        add(*line);
    }
    if (const std::optional<std::string> line = lines.last()) {
        add(*line);
    }
    return statements;
}

// What each job needs that the script will name.
std::vector<std::string> placesOfJobs(const std::vector<Statement>& statements, Settings settings,
                                      const std::string& here) {
    std::vector<std::string> places = jobWorld(settings).places;
    for (const Statement& statement : statements) {
        const SettingChange* const change = std::get_if<SettingChange>(&statement.arguments);
        if (change == nullptr || !change->key.starts_with("job")) {
            continue;
        }
        if (change->value) {
            changeSetting(settings, change->key, *change->value, "answer", here);
        } else {
            dropSetting(settings, change->key, "answer");
        }
        const std::vector<std::string> more = jobWorld(settings).places;
        places.insert(places.end(), more.begin(), more.end());
    }
    return places;
}

} // namespace

int launchDrive(DriveOptions options, SandboxOptions sandbox) {
    const bool fromInput = options.script == "-";
    options.here = fromInput ? fs::current_path() : fs::path(pathInside(options.script)).parent_path();
    options.goesOn = fromInput && isatty(STDIN_FILENO) == 1;
    placeModuleFiles(options.module, options.settings, options.messages);
    std::string settingsText;
    Settings settings;
    if (!options.settings.empty()) {
        settingsText = readSettingsText(options.settings);
        settings = parseSettings(settingsText, options.settings);
    }
    std::string script;
    std::vector<Statement> statements;
    if (!fromInput) {
        script = readSettingsText(options.script);
        try {
            statements = checkedScript(options, script);
        } catch (const Failure& failure) { // with its place in front, as a compiler does it
            static_cast<void>(std::fputs((visibleText(failure.what()) + '\n').c_str(), stderr));
            return failure.code();
        }
    }
    sandbox.needed =
        neededPaths(options.module, options.messages, placesOfJobs(statements, settings, options.here));
    ignoreBrokenPipes(); // a reader that goes away must not cost the run its orderly end
    const Interruption interruption;
    return DriveSession(std::move(options), settingsText, sandbox, std::move(script), interruption).follow();
}

} // namespace volad_dev
