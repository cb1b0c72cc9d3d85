// Resource strings of the published VISA forms, parsed into what a backend
// needs. The parser takes outside text: it checks every field and never
// reads past the string.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace qv::visa {

// What serves a session: each kind has one backend in the table of
// backend.h. A new transport is a new kind here (before Foreign, which stays
// last), the rule in parseResource that yields it, and its backend file.
enum class ResourceKind {
    TcpipInstr,   // TCPIP[n]::host[::lan-device]::INSTR (VXI-11)
    TcpipSocket,  // TCPIP[n]::host::port::SOCKET
    Asrl,         // ASRL[n]::INSTR or ASRL/dev/...::INSTR
    Foreign,      // a valid form the built-in layer does not serve: the vendor library's
};

struct Resource {
    ResourceKind kind = ResourceKind::Foreign;
    unsigned board = 0;
    std::string host;       // TCPIP: name or address (IPv6 without brackets)
    std::string lanDevice;  // TCPIP INSTR: "inst0" unless given
    uint16_t port = 0;      // TCPIP SOCKET
    std::string device;     // ASRL: the tty path
    std::string canonical;  // the name as sessions report it
    std::string why;        // Foreign: what kind of resource it is
};

// False when the text is not a resource name at all (VI_ERROR_INV_RSRC_NAME).
// Foreign kinds parse as true: GPIB, USB, HiSLIP, "visa://" and "QVIB" forms.
bool parseResource(std::string_view text, Resource& out);

// The tty path of serial board n (ASRL1 is the first port, /dev/ttyS0).
std::string serialPathForBoard(unsigned board);

}  // namespace qv::visa
