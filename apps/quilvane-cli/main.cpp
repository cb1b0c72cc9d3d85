// quilvane-cli: one VISA exchange from the command line, for users who want
// to see what an instrument answers and for scripts.
#include "instrument_io/visa/status_text.h"
#include "instrument_io/visa/visa.h"
#include "instrument_io/visa/visa_log.h"

#include <sys/stat.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

struct Options {
    uint32_t timeoutMs = 5000;
    std::vector<std::string> args;  // command word first
};

const char* const kUsage =
    "usage: quilvane-cli [--timeout MS] COMMAND ...\n"
    "  query RES CMD          send CMD and print the answer\n"
    "  write RES CMD          send CMD\n"
    "  stb RES                print the status byte\n"
    "  clear RES              clear the device\n"
    "  fetch RES CMD FILE     send CMD and store its block answer in FILE\n"
    "  send RES PREFIX FILE   send PREFIX followed by FILE as a block\n"
    "RES is a VISA resource, e.g. TCPIP::192.168.1.20::INSTR or TCPIP::host::5025::SOCKET.\n";

int fail(const char* what, ViStatus s) {
    std::fprintf(stderr, "error: %s: %s (0x%s): %s\n", what, qv::visa::statusName(s).c_str(),
                 qv::visa::statusHex(s).c_str(), qv::visa::statusText(s).c_str());
    std::string why = qv::visa::lastMessage();
    if (!why.empty()) std::fprintf(stderr, "  %s\n", why.c_str());
    return 1;
}

// A session for one command; closed on every path.
class Session {
public:
    ~Session() {
        if (vi_) viClose(vi_);
        if (rm_) viClose(rm_);
    }
    ViStatus open(const std::string& res, uint32_t timeoutMs) {
        ViStatus s = viOpenDefaultRM(&rm_);
        if (s < 0) return s;
        s = viOpen(rm_, res.c_str(), VI_NULL, timeoutMs, &vi_);
        if (s < 0) return s;
        return viSetAttribute(vi_, VI_ATTR_TMO_VALUE, timeoutMs);
    }
    ViSession vi() const { return vi_; }

private:
    ViSession rm_ = 0, vi_ = 0;
};

ViStatus writeLine(ViSession vi, const std::string& cmd) {
    std::string line = cmd + "\n";
    ViUInt32 n = 0;
    return viWrite(vi, reinterpret_cast<ViConstBuf>(line.data()), ViUInt32(line.size()), &n);
}

// Reads one whole answer, however long.
ViStatus readAnswer(ViSession vi, std::string& out) {
    std::vector<unsigned char> buf(65536);
    for (;;) {
        ViUInt32 n = 0;
        ViStatus s = viRead(vi, buf.data(), ViUInt32(buf.size()), &n);
        out.append(reinterpret_cast<char*>(buf.data()), n);
        if (s != VI_SUCCESS_MAX_CNT) return s;
    }
}

int cmdQuery(const Options& o) {
    Session ses;
    ViStatus s = ses.open(o.args[1], o.timeoutMs);
    if (s < 0) return fail("open", s);
    if ((s = writeLine(ses.vi(), o.args[2])) < 0) return fail("write", s);
    std::string answer;
    if ((s = readAnswer(ses.vi(), answer)) < 0) return fail("read", s);
    while (!answer.empty() && (answer.back() == '\n' || answer.back() == '\r')) answer.pop_back();
    std::fwrite(answer.data(), 1, answer.size(), stdout);
    std::fputc('\n', stdout);
    return 0;
}

int cmdWrite(const Options& o) {
    Session ses;
    ViStatus s = ses.open(o.args[1], o.timeoutMs);
    if (s < 0) return fail("open", s);
    if ((s = writeLine(ses.vi(), o.args[2])) < 0) return fail("write", s);
    return 0;
}

int cmdStb(const Options& o) {
    Session ses;
    ViStatus s = ses.open(o.args[1], o.timeoutMs);
    if (s < 0) return fail("open", s);
    ViUInt16 stb = 0;
    if ((s = viReadSTB(ses.vi(), &stb)) < 0) return fail("read status byte", s);
    std::printf("%u\n", unsigned(stb));
    return 0;
}

int cmdClear(const Options& o) {
    Session ses;
    ViStatus s = ses.open(o.args[1], o.timeoutMs);
    if (s < 0) return fail("open", s);
    if ((s = viClear(ses.vi())) < 0) return fail("clear", s);
    return 0;
}

int cmdFetch(const Options& o) {
    Session ses;
    ViStatus s = ses.open(o.args[1], o.timeoutMs);
    if (s < 0) return fail("open", s);
    if ((s = writeLine(ses.vi(), o.args[2])) < 0) return fail("write", s);
    unsigned char head[12] = {};
    ViUInt32 n = 0;
    if ((s = viRead(ses.vi(), head, 2, &n)) < 0) return fail("read block header", s);
    if (n < 2 || head[0] != '#' || head[1] < '0' || head[1] > '9') {
        std::fprintf(stderr, "error: the answer is not a block (it starts with \"%.*s\")\n", int(n), head);
        return 1;
    }
    const std::string& file = o.args[3];
    unsigned digits = head[1] - '0';
    ViUInt32 length = 0xFFFFFFFFu;  // "#0": to the end of the message
    if (digits > 0) {
        if ((s = viRead(ses.vi(), head + 2, digits, &n)) < 0) return fail("read block length", s);
        if (n != digits) {
            std::fprintf(stderr, "error: block length field cut short\n");
            return 1;
        }
        unsigned long long len = 0;
        for (unsigned i = 0; i < digits; ++i) {
            if (head[2 + i] < '0' || head[2 + i] > '9') {
                std::fprintf(stderr, "error: block length \"%.*s\" is not a number\n", int(digits), head + 2);
                return 1;
            }
            len = len * 10 + (head[2 + i] - '0');
        }
        if (len > 0xFFFFFFFFull) {
            std::fprintf(stderr, "error: block of %llu bytes is larger than one transfer can carry\n", len);
            return 1;
        }
        length = ViUInt32(len);
    }
    ViUInt32 got = 0;
    s = length ? viReadToFile(ses.vi(), file.c_str(), length, &got) : VI_SUCCESS;
    if (!length) std::fclose(std::fopen(file.c_str(), "wb"));
    if (s < 0) {
        std::fprintf(stderr, "%s holds only %u of %u bytes\n", file.c_str(), got, length);
        return fail("read block data", s);
    }
    std::printf("%u bytes written to %s\n", got, file.c_str());
    return 0;
}

int cmdSend(const Options& o) {
    const std::string& file = o.args[3];
    struct stat st {};
    if (stat(file.c_str(), &st) != 0 || !S_ISREG(st.st_mode)) {
        std::fprintf(stderr, "error: %s: no such file\n", file.c_str());
        return 1;
    }
    if (st.st_size > 0xFFFFFFFFll) {
        std::fprintf(stderr, "error: %s is larger than one transfer can carry\n", file.c_str());
        return 1;
    }
    Session ses;
    ViStatus s = ses.open(o.args[1], o.timeoutMs);
    if (s < 0) return fail("open", s);
    // Prefix, header, data and terminator form one message: END only at the end.
    std::string size = std::to_string(st.st_size);
    std::string head = o.args[2] + "#" + std::to_string(size.size()) + size;
    ViUInt32 n = 0;
    viSetAttribute(ses.vi(), VI_ATTR_SEND_END_EN, VI_FALSE);
    s = viWrite(ses.vi(), reinterpret_cast<ViConstBuf>(head.data()), ViUInt32(head.size()), &n);
    if (s >= 0 && st.st_size > 0) s = viWriteFromFile(ses.vi(), file.c_str(), ViUInt32(st.st_size), &n);
    viSetAttribute(ses.vi(), VI_ATTR_SEND_END_EN, VI_TRUE);
    if (s >= 0) s = viWrite(ses.vi(), reinterpret_cast<ViConstBuf>("\n"), 1, &n);
    if (s < 0) return fail("write", s);
    std::printf("%lld bytes sent\n", static_cast<long long>(st.st_size));
    return 0;
}

struct Command {
    const char* name;
    size_t args;  // after the command word
    int (*run)(const Options&);
};

const Command kCommands[] = {
    {"query", 2, cmdQuery}, {"write", 2, cmdWrite}, {"stb", 1, cmdStb},
    {"clear", 1, cmdClear}, {"fetch", 3, cmdFetch}, {"send", 3, cmdSend},
};

}  // namespace

int main(int argc, char** argv) {
    Options o;
    for (int i = 1; i < argc; ++i) {
        std::string a = argv[i];
        if (a == "--timeout" && i + 1 < argc) {
            char* end = nullptr;
            unsigned long v = std::strtoul(argv[++i], &end, 10);
            if (!end || *end || v == 0 || v > 0xFFFFFFFFul) {
                std::fprintf(stderr, "error: --timeout takes milliseconds\n%s", kUsage);
                return 2;
            }
            o.timeoutMs = uint32_t(v);
        } else if (a == "--help" || a == "-h") {
            std::fputs(kUsage, stdout);
            return 0;
        } else {
            o.args.push_back(a);
        }
    }
    if (o.args.empty()) {
        std::fputs(kUsage, stderr);
        return 2;
    }
    for (const Command& c : kCommands) {
        if (o.args[0] != c.name) continue;
        if (o.args.size() != c.args + 1) {
            std::fprintf(stderr, "error: %s takes %zu arguments\n%s", c.name, c.args, kUsage);
            return 2;
        }
        return c.run(o);
    }
    std::fprintf(stderr, "error: unknown command \"%s\"\n%s", o.args[0].c_str(), kUsage);
    return 2;
}
