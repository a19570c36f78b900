// The host's answers to what the module asks, out of the settings.
#pragma once

namespace em {
struct SipJson;
}

namespace volad_dev {

struct Settings;

// Answers a request in place: status 0, with data for a setting that has a value; status 1 for a setting
// without one and for what this host does not know.
void answerRequest(em::SipJson& envelope, const Settings& settings);

} // namespace volad_dev
