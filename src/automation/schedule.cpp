#include "automation/schedule.h"

#include "app/text.h"

#include <algorithm>
#include <charconv>
#include <cmath>

namespace qv::automation {

namespace {
// Larger amounts are refused, so no product of amount and unit overflows.
constexpr double kMaxAmount = 1e9;
// The shortest repeat interval: below it the timer would do nothing but run.
constexpr int64_t kMinIntervalMs = 100;

int64_t firstRunOf(const SchedulePlan& s, int64_t created) {
    switch (s.start) {
        case StartMode::At:
            return s.startAt;
        case StartMode::In:
            return created + AmountMs(s.startIn, s.startInUnit);
        default:
            return created;
    }
}
}  // namespace

int64_t UnitMs(TimeUnit u) {
    switch (u) {
        case TimeUnit::Minutes:
            return 60'000;
        case TimeUnit::Hours:
            return 3'600'000;
        default:
            return 1000;
    }
}

int64_t AmountMs(double amount, TimeUnit u) {
    if (!std::isfinite(amount) || amount <= 0) return 0;
    return static_cast<int64_t>(std::llround(std::min(amount, kMaxAmount) * static_cast<double>(UnitMs(u))));
}

bool ParseAmount(const std::string& text, const std::string& field, bool zeroAllowed, double& out,
                 std::string& message) {
    std::string t = app::TrimBlanks(text);
    std::replace(t.begin(), t.end(), ',', '.');
    double v = 0;
    const char* end = t.data() + t.size();
    auto [ptr, ec] = std::from_chars(t.data(), end, v);
    if (t.empty() || ec != std::errc() || ptr != end || !std::isfinite(v)) {
        message = field + ": \"" + text + "\" is not a number.";
        return false;
    }
    if (zeroAllowed ? v < 0 : v <= 0) {
        message = field + (zeroAllowed ? ": enter a number of 0 or more." : ": enter a number greater than 0.");
        return false;
    }
    if (v > kMaxAmount) {
        message = field + ": enter a number of at most 1000000000.";
        return false;
    }
    out = v;
    return true;
}

bool ParseCount(const std::string& text, const std::string& field, int64_t& out, std::string& message) {
    const std::string t = app::TrimBlanks(text);
    int64_t v = 0;
    const char* end = t.data() + t.size();
    auto [ptr, ec] = std::from_chars(t.data(), end, v);
    if (t.empty() || ec != std::errc() || ptr != end || v < 1 || v > static_cast<int64_t>(kMaxAmount)) {
        message = field + ": enter a whole number from 1 to 1000000000.";
        return false;
    }
    out = v;
    return true;
}

bool ValidateSchedule(const SchedulePlan& s, int64_t now, std::string& message) {
    auto amountOk = [](double v, bool zeroAllowed) {
        return std::isfinite(v) && v <= kMaxAmount && (zeroAllowed ? v >= 0 : v > 0);
    };
    if (s.start == StartMode::At && s.startAt < now) {
        message = "Start at: the time has already passed.";
        return false;
    }
    if (s.start == StartMode::In && !amountOk(s.startIn, true)) {
        message = "Start in: enter a number of 0 or more.";
        return false;
    }
    if (!amountOk(s.every, false) || AmountMs(s.every, s.everyUnit) < kMinIntervalMs) {
        message = "Repeat every: the interval must be at least 0.1 seconds.";
        return false;
    }
    const int64_t first = firstRunOf(s, now);
    switch (s.stop) {
        case StopMode::At:
            if (s.stopAt <= first) {
                message = "Stop at: the time must lie after the start.";
                return false;
            }
            break;
        case StopMode::After:
            if (!amountOk(s.stopAfter, false) || AmountMs(s.stopAfter, s.stopAfterUnit) <= 0) {
                message = "Stop after: enter a number greater than 0.";
                return false;
            }
            break;
        case StopMode::AfterCount:
            if (s.stopCount < 1 || s.stopCount > static_cast<int64_t>(kMaxAmount)) {
                message = "Stop after (actions): enter a whole number from 1 to 1000000000.";
                return false;
            }
            break;
    }
    return true;
}

Schedule::Schedule(const SchedulePlan& plan, int64_t created) : plan_(plan) {
    first_ = firstRunOf(plan, created);
    next_ = first_;
    interval_ = std::max<int64_t>(AmountMs(plan.every, plan.everyUnit), 1);
    if (plan.stop == StopMode::At)
        stopTime_ = plan.stopAt;
    else if (plan.stop == StopMode::After)
        stopTime_ = first_ + AmountMs(plan.stopAfter, plan.stopAfterUnit);
}

bool Schedule::finished(int64_t now) const {
    if (plan_.stop == StopMode::AfterCount) return count_ >= plan_.stopCount;
    return next_ >= stopTime_ || now >= stopTime_;
}

void Schedule::ran(int64_t ended) {
    ++count_;
    int64_t slot = next_ + interval_;
    // The slots the run covered lapse: the next one on the grid at or after its end.
    if (slot < ended) slot += ((ended - slot + interval_ - 1) / interval_) * interval_;
    next_ = slot;
}

}  // namespace qv::automation
