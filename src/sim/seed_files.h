// The files an instrument keeps when it is new: a few settings, traces and
// screen shots on its start drive, where its firmware would put them, so a
// file browser has something real to show and fetch. The same for every
// start (content and dates), small, and written only to drives that were
// empty when the sandbox was opened: a user's files are never touched.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "profiles.h"
#include "sandbox.h"

namespace qv::sim {

struct SeedItem {
    std::string name;  // full instrument path, '/' separated after the drive
    bool folder = false;
    std::vector<uint8_t> data;
    int64_t modified = 0;  // seconds since 1970 (UTC)
};

// What a new instrument of this profile holds; nothing without drives.
std::vector<SeedItem> seedPlan(const Profile& profile);

// Writes the plan into the sandbox's empty drives. False with a message
// when a file could not be written.
bool seedFiles(Sandbox& sandbox, const Profile& profile, std::string& error);

}  // namespace qv::sim
