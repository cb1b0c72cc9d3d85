// What the LAN scans read from the network and from the user: ICMP packets
// (raw, with their IP header, and datagram), port mapper replies, and the
// subnet fields.
#include <cstddef>
#include <cstdint>
#include <string>

#include "instrument_directory/lan_discovery.h"
#include "instrument_directory/lan_scan.h"
#include "instrument_directory/ping.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 2) return 0;
    const uint8_t mode = data[0] % 3;
    const uint8_t count = data[1];
    data += 2;
    size -= 2;
    if (mode == 0) {
        qv::dir::EchoBatch batch{0x1234, 0xFFF0, {}};  // sequences wrap past 0xFFFF
        for (uint32_t i = 0; i < count; ++i) batch.destinations.push_back(0x0A4D0000u + i);
        size_t index = 0;
        int status = 0, payload = 0;
        for (bool raw : {true, false}) {
            if (qv::dir::ReadIcmpReply(data, size, raw, 0x0A4D0002u, batch, index, status, payload) &&
                index >= batch.destinations.size())
                __builtin_trap();
        }
    } else if (mode == 1) {
        uint32_t port = 0;
        qv::dir::IsDiscoveryReply(data, size, &port);
    } else {
        std::string prefix;
        int single = 0;
        const std::string text(reinterpret_cast<const char*>(data), size);
        if (qv::dir::ParseIpArea(text, prefix, single) && (single < -1 || single > 255)) __builtin_trap();
    }
    return 0;
}
