#include "host/check/effective_configuration.h"

#include <array>

#include <fmt/format.h>

#include "contract/module_interface.h"
#include "contract/places.h"
#include "contract/settings.h"
#include "frame/configuration/installation_roots.h"
#include "frame/configuration/module_properties.h"
#include "host/common/json_writer.h"
#include "host/common/visible_text.h"

namespace volad_dev {
namespace {

constexpr const char* kDefault = "default";

class Collection {
public:
    explicit Collection(const Inspection& inspection) : m_inspection(inspection) {}

    std::vector<EffectiveValue> run() {
        addTrace();
        addRegistry();
        addFiles();
        addSettings();
        return std::move(m_values);
    }

private:
    using Value = decltype(EffectiveValue::value);

    void add(const std::string& name, Value value, const std::string& source = "") {
        m_values.push_back({name, std::move(value), source});
    }
    void addText(const std::string& name, const std::string& text, const std::string& source = "") {
        add(name, text.empty() ? Value() : Value(text), source);
    }
    void addNumber(const std::string& name, const TraceNumber& number) {
        add(name, number.value, number.source.empty() ? kDefault : number.source);
    }

    void addTrace() {
        const TraceConfiguration& trace = m_inspection.trace;
        addNumber("trace.level", trace.level);
        addNumber("trace.interval", trace.interval);
        addText("trace.section", trace.section);
        for (const std::string& file : trace.files) {
            addText("trace.file", file);
        }
    }

    void addRegistry() {
        const em::InstallationRoots roots = em::findInstallationRoots();
        addText("registry.file", m_inspection.store.file);
        addText("registry.productKey", em::productKeyPath());
        addText("registry.binRoot", roots.binRoot);
        // Asked for only where there is no BinRoot, so that the roots lack it beside one.
        addText("registry.fileRoot", em::productText(em::place::kSetupKey, em::place::kFileRoot));
        addText("registry.dataRoot", em::registeredData(em::place::kDataRoot));
        uint32_t asked = 1;
        const bool set = em::GetModuleProperty(em::kModuleName, asked, em::place::kPowerSwitchProperty) != 0;
        add("registry.powerSwitchEvents", asked, set ? m_inspection.store.file : kDefault);
    }

    void addFiles() {
        addText("messages.file", m_inspection.messages.path);
        for (const ConfigurationFile& file : m_inspection.configuration.files) {
            addText("configuration.file", file.path);
        }
        addText("gate.tool", m_inspection.machine.gateTool.value_or(""));
    }

    template <class Given>
    void addSetting(const std::string& name, const std::optional<Given>& given, const em::Setting& setting) {
        const std::string& source = given ? m_inspection.settingsFile : m_default;
        if (given) {
            add(name, *given, source);
        } else {
            add(name, setting.fallback ? Value(*setting.fallback) : Value(), source);
        }
    }

    void addSettings() {
        const Settings& settings = m_inspection.settings;
        addSetting("settings.shutdownDelay", settings.shutdownDelay, em::setting::kShutdownDelay);
        addSetting("settings.forceDelay", settings.forceDelay, em::setting::kForceDelay);
        addSetting("settings.job.name", settings.jobName, em::setting::kJobName);
        addSetting("settings.job.directory", settings.jobDirectory, em::setting::kJobDirectory);
        addSetting("settings.job.timeout", settings.jobTimeout, em::setting::kJobTimeout);
        for (size_t day = 0; day < kDayNames.size(); ++day) {
            const std::optional<uint16_t>& minutes = settings.powerOffTimes[day];
            const std::optional<std::string> time =
                minutes ? std::optional(fmt::format("{:02}:{:02}", *minutes / 60, *minutes % 60))
                        : std::nullopt;
            addSetting(std::string("settings.powerOffTimes.") + kDayNames[day], time,
                       em::setting::kPowerOffTime);
        }
    }

    const Inspection& m_inspection;
    const std::string m_default = kDefault;
    std::vector<EffectiveValue> m_values;
};

std::string textOf(const EffectiveValue& value) {
    if (const auto* const number = std::get_if<uint32_t>(&value.value)) {
        return std::to_string(*number);
    }
    const auto* const text = std::get_if<std::string>(&value.value);
    return text != nullptr ? *text : "-";
}

} // namespace

std::vector<EffectiveValue> effectiveConfiguration(const Inspection& inspection) {
    return Collection(inspection).run();
}

void printConfiguration(const std::vector<EffectiveValue>& values, JsonOutput& json) {
    JsonWriter written;
    written.beginDocument();
    written.beginArray("values");
    for (const EffectiveValue& value : values) {
        if (!json.takesStandardOutput()) {
            fmt::print("{}\n",
                       visibleText(fmt::format("{:<33} {}{}", value.name, textOf(value),
                                               value.source.empty() ? "" : "  (" + value.source + ")")));
        }
        written.beginObject();
        written.member("name", value.name);
        if (const auto* const number = std::get_if<uint32_t>(&value.value)) {
            written.member("value", *number);
        } else if (const auto* const text = std::get_if<std::string>(&value.value)) {
            written.member("value", *text);
        } else {
            written.member("value", nullptr);
        }
        written.member("source", value.source.empty() ? std::nullopt : std::optional(value.source));
        written.endObject();
    }
    written.endArray();
    written.endObject();
    if (json.asked()) {
        json.write(written.document());
    }
}

} // namespace volad_dev
