// Setting the instrument's clock: what is sent, and that every way of not
// getting a confirmation ends in the failure message, never in success.
#include "automation/status_utilities.h"
#include "one_shot_sim.h"
#include "scripted_host.h"

#include <gtest/gtest.h>

#include <ctime>

namespace {

using qv::automation::SetInstrumentClock;

// 13:05:09 local time today.
std::time_t localAt(int h, int m, int s) {
    std::time_t now = std::time(nullptr);
    std::tm t{};
    localtime_r(&now, &t);
    t.tm_hour = h;
    t.tm_min = m;
    t.tm_sec = s;
    t.tm_isdst = -1;
    return std::mktime(&t);
}

class InstrumentClock : public oneshot::SimTest {
protected:
    qvtest::ScriptedHost host;
    void expectFailureMessage() {
        ASSERT_EQ(host.messages().size(), 1u);
        EXPECT_EQ(host.messages()[0].title, "FUNCTION FAILED");
        EXPECT_EQ(host.messages()[0].text, "Setting time FAILED!");
        EXPECT_EQ(host.messages()[0].icon, qv::app::Icon::Critical);
    }
};

TEST_F(InstrumentClock, SendsTheLocalTimeAndReadsTheQueueOnce) {
    EXPECT_TRUE(SetInstrumentClock(sim().resource(), localAt(13, 5, 9)));
    EXPECT_TRUE(host.messages().empty());
    EXPECT_EQ(sim().newMessages(), (std::vector<std::string>{"*STB?", "SYST:ERR?", "SYST:TIME 13,05,09", "SYST:ERR?"}));
}

TEST_F(InstrumentClock, ARefusalShowsTheFailure) {
    sim().prepare("SYST:SIM:FAULT 'error=-222@SYST:TIME'");
    EXPECT_FALSE(SetInstrumentClock(sim().resource(), localAt(1, 2, 3)));
    expectFailureMessage();
}

TEST_F(InstrumentClock, NoSessionShowsTheFailure) {
    EXPECT_FALSE(SetInstrumentClock(oneshot::kNobody, localAt(1, 2, 3)));
    expectFailureMessage();
}

}  // namespace
