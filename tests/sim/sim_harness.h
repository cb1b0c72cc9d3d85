// An instrument with one session, driven in-process: what a test sends and
// what the instrument answers, without a transport in between.
#pragma once

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "sim/instrument.h"
#include "sim/session.h"
#include "test_support.h"

namespace qvsimtest {

class Harness {
public:
    explicit Harness(const std::string& profile = "TKD", qv::sim::InstrumentOptions options = {},
                     qv::sim::Session::Mode mode = qv::sim::Session::Mode::Immediate) {
        options.profile = profile;
        std::string error;
        inst = qv::sim::Instrument::create(options, error);
        EXPECT_TRUE(inst) << error;
        if (!inst) return;
        session = std::make_unique<qv::sim::Session>(*inst, mode, [this](qv::sim::ResponseMessage& r) {
            answers.push_back(r.data.toString());
            last = std::move(r);
            return true;
        });
    }

    // Feeds bytes and returns everything answered meanwhile, concatenated.
    std::string send(const std::string& bytes, bool end = false) {
        answers.clear();
        if (session)
            session->feed(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size(), end);
        std::string all;
        for (const auto& a : answers) all += a;
        return all;
    }
    // Feeds bytes one at a time.
    std::string sendByteByByte(const std::string& bytes) {
        answers.clear();
        for (char c : bytes) {
            auto b = static_cast<uint8_t>(c);
            session->feed(&b, 1);
        }
        std::string all;
        for (const auto& a : answers) all += a;
        return all;
    }
    // Next entry of the error queue, as SYST:ERR? answers it (no LF).
    std::string nextError() {
        std::string a = send(":SYST:ERR?\n");
        if (!a.empty() && a.back() == '\n') a.pop_back();
        return a;
    }
    // Error codes in the queue, left in place (sends nothing).
    std::vector<int> errorCodes() {
        std::vector<int> codes;
        for (const auto& e : inst->errorQueue()) codes.push_back(e.code);
        return codes;
    }
    // Error codes in the queue, emptying it with *CLS.
    std::vector<int> drainErrors() {
        std::vector<int> codes;
        for (const auto& e : inst->errorQueue()) codes.push_back(e.code);
        send("*CLS\n");
        return codes;
    }

    std::unique_ptr<qv::sim::Instrument> inst;
    std::unique_ptr<qv::sim::Session> session;
    std::vector<std::string> answers;
    qv::sim::ResponseMessage last;
};

// FUNCTIONS masks of the capability file by tag, aliases (through
// [MAPPINGS]) with their family's mask.
inline std::map<std::string, int> functionMasks() {
    std::ifstream in(std::string(QV_SOURCE_DIR) + "/data/VisaDevices.ini");
    std::map<std::string, int> out;
    std::map<std::string, std::string> aliasOf;
    std::string line, section;
    while (std::getline(in, line)) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        if (line.empty() || line[0] == ';') continue;
        if (line[0] == '[') {
            section = line;
            continue;
        }
        size_t eq = line.find('=');
        if (eq == std::string::npos) continue;
        std::string key = line.substr(0, eq), value = line.substr(eq + 1);
        if (section == "[FUNCTIONS]") out[key] = std::stoi(value);
        if (section == "[MAPPINGS]") aliasOf[value] = key.substr(0, key.find_last_not_of("0123456789") + 1);
    }
    for (const auto& [alias, family] : aliasOf) out[alias] = out[family];
    return out;
}

// One query and its answer without the terminator.
inline std::string ask(Harness& h, const std::string& query) {
    std::string a = h.send(query + "\n");
    if (!a.empty() && a.back() == '\n') a.pop_back();
    return a;
}

// The pieces of text between the separators.
inline std::vector<std::string> split(const std::string& text, const std::string& sep) {
    std::vector<std::string> out;
    for (size_t at = 0;;) {
        size_t next = text.find(sep, at);
        out.push_back(text.substr(at, next == std::string::npos ? std::string::npos : next - at));
        if (next == std::string::npos) return out;
        at = next + sep.size();
    }
}

// Values of a REAL,32 block answer; a test failure when it is no block.
inline std::vector<float> blockFloats(const std::string& a) {
    if (a.size() < 3 || a[0] != '#' || a[1] < '1' || a[1] > '9') {
        ADD_FAILURE() << "not a block: " << a.substr(0, 40);
        return {};
    }
    size_t digits = size_t(a[1] - '0');
    size_t length = std::stoul(a.substr(2, digits));
    if (a.size() != 2 + digits + length || length % 4) {
        ADD_FAILURE() << "block of " << length << " in " << a.size() << " bytes";
        return {};
    }
    std::vector<float> out(length / 4);
    std::memcpy(out.data(), a.data() + 2 + digits, length);  // little-endian host
    return out;
}

}  // namespace qvsimtest
