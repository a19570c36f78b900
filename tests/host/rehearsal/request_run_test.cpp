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
        End end;
        const char* askedBy;
        uint8_t reason;
    } cases[] = {{false, std::nullopt, End::NotAccepted, "request", 4},
                 {true, std::nullopt, End::TimedOut, "request", 4},
                 {true, 0.0, End::NoRequest, "schedule", 3}};
    Settings settings;
    settings.shutdownDelay = 0;
    settings.jobTimeout = 0;
    RehearsalOptions options;
    options.reason = 4;
    for (const auto& each : cases) {
        SilentModule module(each.accepts);
        const DevelopmentHost host(settings);
        std::atomic<double> requestTime = 0;
        RequestRun run(options, settings, host, module, requestTime, each.scheduledIn, {0.05, 0.05});
        run.follow();
        const Verdict verdict = run.conclude();
        EXPECT_EQ(verdict.end, each.end);
        EXPECT_FALSE(verdict.asAsked);
        EXPECT_EQ(verdict.askedBy, each.askedBy);
        EXPECT_EQ(verdict.reason, each.reason);
        EXPECT_EQ(requestTime != 0, !each.scheduledIn) << "there is no time of a request that never came";
    }
}

} // namespace
} // namespace volad_dev
