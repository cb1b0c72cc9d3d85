// Timed actions: when runs start, how a long run makes slots lapse, when each
// stop mode ends the schedule, and which field a refusal names.
#include "automation/schedule.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using namespace qv::automation;

constexpr int64_t kT0 = 1'700'000'000'000;  // "now" of every case

// Drives a schedule as the window's timer would: jump to the next due time,
// run for `durations[i]` ms (the last one repeats), until it is finished.
// Returns the start times relative to kT0.
std::vector<int64_t> starts(const SchedulePlan& plan, std::vector<int64_t> durations, size_t limit = 50) {
    Schedule s(plan, kT0);
    std::vector<int64_t> out;
    int64_t now = kT0;
    while (out.size() < limit) {
        if (s.finished(now)) break;
        now = std::max(now, s.nextRun());
        if (!s.due(now)) break;
        out.push_back(now - kT0);
        const int64_t d = durations[std::min(out.size() - 1, durations.size() - 1)];
        now += d;
        s.ran(now);
    }
    EXPECT_EQ(s.count(), int64_t(out.size()));
    return out;
}

SchedulePlan every(double value, TimeUnit unit) {
    SchedulePlan s;
    s.every = value;
    s.everyUnit = unit;
    return s;
}

struct RunCase {
    const char* name;
    SchedulePlan plan;
    std::vector<int64_t> durations;
    std::vector<int64_t> expected;
};

class Runs : public ::testing::TestWithParam<RunCase> {};

TEST_P(Runs, StartWhereTheyShould) {
    EXPECT_EQ(starts(GetParam().plan, GetParam().durations), GetParam().expected);
}

RunCase make(const char* name, std::vector<int64_t> durations, std::vector<int64_t> expected,
             void (*edit)(SchedulePlan&)) {
    SchedulePlan s = every(1, TimeUnit::Seconds);
    s.stop = StopMode::AfterCount;
    s.stopCount = 3;
    edit(s);
    return {name, s, std::move(durations), std::move(expected)};
}

INSTANTIATE_TEST_SUITE_P(
    Schedules, Runs,
    ::testing::Values(make("AtOnceEverySecondThreeTimes", {10}, {0, 1000, 2000}, [](SchedulePlan&) {}),
                      make("InTwoMinutes", {10}, {120000, 121000, 122000},
                           [](SchedulePlan& s) {
                               s.start = StartMode::In;
                               s.startIn = 2;
                               s.startInUnit = TimeUnit::Minutes;
                           }),
                      make("AtAGivenTime", {10}, {5000, 6000, 7000},
                           [](SchedulePlan& s) {
                               s.start = StartMode::At;
                               s.startAt = kT0 + 5000;
                           }),
                      make("EveryHalfAnHour", {10}, {0, 1800000, 3600000},
                           [](SchedulePlan& s) {
                               s.every = 0.5;
                               s.everyUnit = TimeUnit::Hours;
                           }),
                      // A run of 2.5 s covers the slots at 1 s and 2 s: they lapse, the next
                      // starts on the grid at 3 s and is not followed by a catch-up run.
                      make("LongRunLetsSlotsLapse", {2500, 10}, {0, 3000, 4000}, [](SchedulePlan&) {}),
                      // A run that ends right on a slot starts the next one at once.
                      make("RunEndingOnASlot", {2000, 10}, {0, 2000, 3000}, [](SchedulePlan&) {}),
                      make("StopAtATime", {10}, {0, 1000, 2000, 3000},
                           [](SchedulePlan& s) {
                               s.stop = StopMode::At;
                               s.stopAt = kT0 + 3500;
                           }),
                      // A run due exactly at the stop time does not start.
                      make("StopAtExcludesItsOwnInstant", {10}, {0, 1000, 2000},
                           [](SchedulePlan& s) {
                               s.stop = StopMode::At;
                               s.stopAt = kT0 + 3000;
                           }),
                      // The duration counts from the first run, not from the press of Start.
                      make("StopAfterADuration", {10}, {60000, 61000, 62000},
                           [](SchedulePlan& s) {
                               s.start = StartMode::In;
                               s.startIn = 1;
                               s.startInUnit = TimeUnit::Minutes;
                               s.stop = StopMode::After;
                               s.stopAfter = 2.5;
                               s.stopAfterUnit = TimeUnit::Seconds;
                           }),
                      // A long run that ends past the stop time ends the schedule.
                      make("LongRunPastTheStop", {5000}, {0},
                           [](SchedulePlan& s) {
                               s.stop = StopMode::After;
                               s.stopAfter = 4;
                           }),
                      make("OneAction", {10}, {0}, [](SchedulePlan& s) { s.stopCount = 1; })),
    [](const auto& info) { return std::string(info.param.name); });

TEST(Schedule, ALateTimerDoesNotRunPastTheStopTime) {
    SchedulePlan plan = every(10, TimeUnit::Seconds);
    plan.stop = StopMode::At;
    plan.stopAt = kT0 + 5000;
    Schedule s(plan, kT0);
    EXPECT_TRUE(s.due(kT0));
    // The machine slept through the stop time: the run due at kT0 is dropped.
    EXPECT_FALSE(s.due(kT0 + 6000));
    EXPECT_TRUE(s.finished(kT0 + 6000));
}

// ------------------------------------------------------------ validation

struct CheckCase {
    const char* name;
    void (*edit)(SchedulePlan&);
    const char* field;  // the start of the message; empty: accepted
};

class Validation : public ::testing::TestWithParam<CheckCase> {};

TEST_P(Validation, NamesTheField) {
    SchedulePlan s = every(1, TimeUnit::Seconds);
    GetParam().edit(s);
    std::string message;
    const bool ok = ValidateSchedule(s, kT0, message);
    if (*GetParam().field == 0) {
        EXPECT_TRUE(ok) << message;
    } else {
        EXPECT_FALSE(ok);
        EXPECT_EQ(message.rfind(GetParam().field, 0), 0u) << message;
    }
}

INSTANTIATE_TEST_SUITE_P(
    Fields, Validation,
    ::testing::Values(CheckCase{"Defaults", [](SchedulePlan&) {}, ""},
                      CheckCase{"StartAtInThePast",
                                [](SchedulePlan& s) {
                                    s.start = StartMode::At;
                                    s.startAt = kT0 - 1;
                                },
                                "Start at:"},
                      CheckCase{"StartInNegative",
                                [](SchedulePlan& s) {
                                    s.start = StartMode::In;
                                    s.startIn = -1;
                                },
                                "Start in:"},
                      CheckCase{"StartInZeroIsAtOnce",
                                [](SchedulePlan& s) {
                                    s.start = StartMode::In;
                                    s.startIn = 0;
                                },
                                ""},
                      CheckCase{"RepeatZero", [](SchedulePlan& s) { s.every = 0; }, "Repeat every:"},
                      CheckCase{"RepeatTooShort", [](SchedulePlan& s) { s.every = 0.05; }, "Repeat every:"},
                      CheckCase{"RepeatTenthOfASecond", [](SchedulePlan& s) { s.every = 0.1; }, ""},
                      // The stop time must follow the start, not just now.
                      CheckCase{"StopAtBeforeTheStart",
                                [](SchedulePlan& s) {
                                    s.start = StartMode::In;
                                    s.startIn = 1;
                                    s.startInUnit = TimeUnit::Hours;
                                    s.stop = StopMode::At;
                                    s.stopAt = kT0 + 60000;
                                },
                                "Stop at:"},
                      CheckCase{"StopAfterZero",
                                [](SchedulePlan& s) {
                                    s.stop = StopMode::After;
                                    s.stopAfter = 0;
                                },
                                "Stop after:"},
                      CheckCase{"StopAfterNoActions", [](SchedulePlan& s) { s.stopCount = 0; },
                                "Stop after (actions):"}),
    [](const auto& info) { return std::string(info.param.name); });

struct ParseCase {
    const char* text;
    bool zeroAllowed;
    bool ok;
    double value;
};

class Amounts : public ::testing::TestWithParam<ParseCase> {};

TEST_P(Amounts, ParseOrNameTheField) {
    double v = -99;
    std::string message;
    const ParseCase& c = GetParam();
    EXPECT_EQ(ParseAmount(c.text, "Repeat every", c.zeroAllowed, v, message), c.ok) << c.text;
    if (c.ok) {
        EXPECT_DOUBLE_EQ(v, c.value);
    } else {
        EXPECT_EQ(message.rfind("Repeat every: ", 0), 0u) << message;
        EXPECT_EQ(v, -99);
    }
}

INSTANTIATE_TEST_SUITE_P(Texts, Amounts,
                         ::testing::Values(ParseCase{"1.5", false, true, 1.5}, ParseCase{" 2,5 ", false, true, 2.5},
                                           ParseCase{"0", true, true, 0}, ParseCase{"0", false, false, 0},
                                           ParseCase{"-1", true, false, 0}, ParseCase{"", true, false, 0},
                                           ParseCase{"1x", false, false, 0}, ParseCase{"nan", false, false, 0},
                                           ParseCase{"1e10", false, false, 0}));

TEST(Counts, WholeNumbersFromOne) {
    int64_t n = 0;
    std::string m;
    EXPECT_TRUE(ParseCount("12", "Stop after (actions)", n, m));
    EXPECT_EQ(n, 12);
    for (const char* bad : {"0", "-3", "1.5", "", "x"}) {
        EXPECT_FALSE(ParseCount(bad, "Stop after (actions)", n, m)) << bad;
        EXPECT_EQ(m.rfind("Stop after (actions): ", 0), 0u) << m;
    }
}

}  // namespace
