// Timed actions: when a run starts, how often it repeats and when the
// schedule stops, counted in the unit each field names. Times are
// milliseconds since the epoch, so the window's timer and the tests can use
// intervals below a second.
#pragma once

#include <cstdint>
#include <string>

namespace qv::automation {

enum class TimeUnit { Seconds, Minutes, Hours };
enum class StartMode { AtOnce, At, In };
enum class StopMode { At, After, AfterCount };

struct SchedulePlan {
    StartMode start = StartMode::AtOnce;
    int64_t startAt = 0;  // ms since the epoch (At)
    double startIn = 0;   // In, in startInUnit
    TimeUnit startInUnit = TimeUnit::Seconds;
    double every = 1;  // the repeat interval, in everyUnit
    TimeUnit everyUnit = TimeUnit::Seconds;
    StopMode stop = StopMode::AfterCount;
    int64_t stopAt = 0;    // At: ms since the epoch
    double stopAfter = 0;  // After: counted from the first run, in stopAfterUnit
    TimeUnit stopAfterUnit = TimeUnit::Seconds;
    int64_t stopCount = 1;  // AfterCount
};

int64_t UnitMs(TimeUnit u);
// The milliseconds of an amount of a unit, rounded.
int64_t AmountMs(double amount, TimeUnit u);

// A text field's number ("1.5", "1,5" alike). False with a message that
// names the field when the text is no number, negative (or 0 unless
// zeroAllowed) or above 1e9.
bool ParseAmount(const std::string& text, const std::string& field, bool zeroAllowed, double& out,
                 std::string& message);
// A whole count of at least 1.
bool ParseCount(const std::string& text, const std::string& field, int64_t& out, std::string& message);

// Checks the fields against each other and against now; false with a
// message that names the field.
bool ValidateSchedule(const SchedulePlan& plan, int64_t now, std::string& message);

// A schedule started at `created`. Runs lie on a grid: the first run, then
// every interval after it. A run that lasts past the next slot makes that
// slot (and any other it covers) lapse: runs never overlap, and runs that
// fell due meanwhile are not caught up.
class Schedule {
public:
    Schedule(const SchedulePlan& plan, int64_t created);

    int64_t firstRun() const { return first_; }
    // When the next run is due.
    int64_t nextRun() const { return next_; }
    int64_t count() const { return count_; }
    // No run starts at or after this time; -1 when a count ends the schedule.
    int64_t stopTime() const { return stopTime_; }
    // Whether no run is left at `now`: the count is reached, or the next
    // run (or now itself) lies at or past the stop time.
    bool finished(int64_t now) const;
    // Whether a run should start at `now`.
    bool due(int64_t now) const { return !finished(now) && now >= next_; }
    // The run that was due ended at `ended`: count it and plan the next.
    void ran(int64_t ended);

private:
    SchedulePlan plan_;
    int64_t first_ = 0;
    int64_t next_ = 0;
    int64_t interval_ = 1;
    int64_t stopTime_ = -1;
    int64_t count_ = 0;
};

}  // namespace qv::automation
