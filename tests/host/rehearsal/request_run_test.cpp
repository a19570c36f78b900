// Runs that the module does not end: it refuses the request, or nothing comes of it.
#include "host/rehearsal/request_run.h"

#include <gtest/gtest.h>

#include "frame/envelope/sip_json.h"
#include "frame/module/extension_module.h"

namespace volad_dev {
namespace {

class SilentModule : public em::CExtensionModule {
public:
    explicit SilentModule(bool accepts) : m_accepts(accepts) {}
    bool HandleRequest(em::SipJson* request) override {
        request->SetStatus(m_accepts ? em::status::kAccepted : em::status::kMalformed);
        return m_accepts;
    }

private:
    const bool m_accepts;
};

TEST(RequestRunTest, EndsWhereTheModuleDoesNot) {
    const struct {
        bool accepts;
        std::optional<double> scheduledIn;
        RunEnd end;
        const char* askedBy;
        uint8_t reason;
    } cases[] = {{false, std::nullopt, RunEnd::NotAccepted, "request", 4},
                 {true, std::nullopt, RunEnd::TimedOut, "request", 4},
                 {true, 0.0, RunEnd::NoRequest, "schedule", 3}};
    Settings settings;
    settings.shutdownDelay = 0;
    settings.jobTimeout = 0;
    RehearsalOptions options;
    options.reason = 4;
    for (const auto& each : cases) {
        SilentModule module(each.accepts);
        DevelopmentHost host(settings);
        std::atomic<double> requestTime = 0;
        size_t reports = 0;
        RequestRun run(options, settings, host, module, requestTime, each.scheduledIn,
                       [&reports](const ShutdownRun&) { ++reports; }, {0.05, 0.05});
        run.follow();
        const ShutdownRun concluded = run.conclude();
        EXPECT_EQ(concluded.end, each.end);
        EXPECT_FALSE(concluded.asAsked);
        EXPECT_EQ(concluded.asked.by, each.askedBy);
        EXPECT_EQ(concluded.asked.reason, each.reason);
        EXPECT_EQ(reports > 0, each.accepts);
        EXPECT_EQ(requestTime != 0, !each.scheduledIn) << "there is no time of a request that never came";
    }
}

} // namespace
} // namespace volad_dev
