// Resource strings come from ini files and users: any text must parse or be
// refused, never crash.
#include "instrument_io/visa/find.h"
#include "instrument_io/visa/resource.h"

#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string text(reinterpret_cast<const char*>(data), size);
    qv::visa::Resource r;
    if (qv::visa::parseResource(text, r)) {
        // What we print back must parse again to the same thing.
        qv::visa::Resource again;
        if (!qv::visa::parseResource(r.canonical, again) || again.canonical != r.canonical) __builtin_trap();
    }
    if (size <= 64) {
        qv::visa::FindExpression fx;
        if (fx.compile(text)) fx.matches("TCPIP0::127.0.0.1::inst0::INSTR");
    }
    return 0;
}
