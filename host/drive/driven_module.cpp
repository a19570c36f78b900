#include "host/drive/driven_module.h"

#include <stdexcept>

#include "host/rehearsal/inside_process.h"

namespace volad_dev {

void DrivenModule::create(const Settings& settings) {
    const bool again = m_library.has_value();
    if (!again) {
        load(settings);
    }
    m_module = m_library->create(m_host);
    if (m_module == nullptr) {
        throw std::runtime_error("EM_Create gave no module");
    }
    if (again) {
        return;
    }
    forgetTraceLevel();
    m_cabinet = 0;
    if (settings.cabinet != 0) {
        setCabinet(settings.cabinet);
    }
}

void DrivenModule::load(const Settings& settings) {
    if (m_propertySet) {
        removeProperty();
    }
    configureProperty(settings);
    m_propertySet = settings.powerSwitchNotifications.has_value();
    configureTrace(m_traceLevel);
    m_library.emplace(m_path);
}

bool DrivenModule::start() {
    m_started = true; // first of all: what is left half-started is stopped, too
    return m_module->Start();
}

void DrivenModule::setCabinet(uint32_t number) {
    m_module->SetCabinetNumber(number);
    m_cabinet = number;
}

unsigned DrivenModule::stop() {
    m_started = false;
    return m_module->Stop();
}

bool DrivenModule::destroy() {
    m_module = nullptr;
    m_started = false;
    const bool destroyed = m_library->destroy();
    m_library.reset();
    return destroyed;
}

bool DrivenModule::takeDown() {
    if (!m_library) {
        return false;
    }
    if (m_started) {
        stop();
    }
    destroy();
    return true;
}

} // namespace volad_dev
