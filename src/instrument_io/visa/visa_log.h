// Where the VISA layer says why something failed. The program hooks its own
// log in; without a hook, QUILVANE_VISA_DEBUG=1 sends the lines to stderr.
#pragma once

#include <functional>
#include <string>

namespace qv::visa {

void setLogHandler(std::function<void(const std::string&)> handler);
void logMessage(const std::string& line);
// The last message logged on this thread, for error reports.
std::string lastMessage();
void clearLastMessage();

}  // namespace qv::visa
