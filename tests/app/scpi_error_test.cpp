// The SCPI error report: one critical message, its exact text.
#include "app/error_messages.h"

#include "scripted_host.h"

#include <gtest/gtest.h>

using qvtest::ScriptedHost;

TEST(ShowSCPIError, OneCriticalMessageWithTheInstrumentCommandAndError) {
    ScriptedHost host;
    qv::app::ShowSCPIError("TCPIP::10.0.0.7::INSTR", "TKD", "MMEM:DEL 'X.BIN'",
                           "-256,\"File name not found\"\r\n-410,\"Query INTERRUPTED\"");
    auto messages = host.messages();
    ASSERT_EQ(messages.size(), 1u);
    EXPECT_EQ(messages[0].title, "SCPI ERROR");
    EXPECT_EQ(messages[0].icon, qv::app::Icon::Critical);
    EXPECT_EQ(messages[0].buttons, qv::app::Buttons::Ok);
    EXPECT_EQ(messages[0].text,
              "--- SCPI ERROR ---\r\n"
              "  VISA Address: \tTCPIP::10.0.0.7::INSTR\r\n"
              "  Device Type: \tTKD\r\n"
              "  Command:\tMMEM:DEL 'X.BIN'\r\n"
              "  Error:\t\t-256,\"File name not found\"\r\n-410,\"Query INTERRUPTED\"\r\n");
}
