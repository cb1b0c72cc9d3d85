// Timed actions: when a run starts, how often it repeats and when the
// schedule stops, counted in the unit each field names.
#pragma once

#include <cstdint>
#include <string>

namespace qv::automation {

enum class TimeUnit { Seconds, Minutes, Hours };
enum class StartMode { AtOnce, At, In };
enum class StopMode { At, After, AfterCount };

struct ScheduleSpec {
  StartMode start = StartMode::AtOnce;
  int64_t startAt = 0; // seconds since the epoch (At)
  double startIn = 0;  // In
  TimeUnit startInUnit = TimeUnit::Seconds;
  double every = 1; // repeat interval
  TimeUnit everyUnit = TimeUnit::Seconds;
  StopMode stop = StopMode::AfterCount;
  int64_t stopAt = 0;   // At
  double stopAfter = 0; // After
  TimeUnit stopAfterUnit = TimeUnit::Seconds;
  int64_t stopCount = 1;
};

// Checks the fields; false with a message that names the field.
bool ValidateSchedule(const ScheduleSpec &spec, int64_t now,
                      std::string &message);

// The schedule once started at `created` (seconds since the epoch).
class Schedule {
public:
  Schedule(const ScheduleSpec &spec, int64_t created);
  // When the next run is due; runs that fell due while one ran are not
  // caught up (a run never overlaps the one before).
  int64_t nextRun() const { return next_; }
  int64_t count() const { return count_; }
  // Whether a run at `now` is still inside the schedule.
  bool finished(int64_t now) const;
  // A run started at `now` ended at `ended`: count it and plan the next.
  void ran(int64_t now, int64_t ended);

private:
  ScheduleSpec spec_;
  int64_t created_ = 0;
  int64_t next_ = 0;
  int64_t count_ = 0;
};

double UnitSeconds(TimeUnit u);

} // namespace qv::automation
