#include "find.h"

#include <dirent.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <regex>

namespace qv::visa {

namespace {

constexpr size_t kMaxExpression = 256;

// VISA's operators: ? one character, * and + repeat the element before,
// [list] and [^list] sets, | alternatives, ( ) groups, \ escapes.
bool translate(const std::string& expr, std::string& out) {
    out.clear();
    bool inSet = false;
    int depth = 0;
    bool haveElement = false;
    for (size_t i = 0; i < expr.size(); ++i) {
        char c = expr[i];
        if (inSet) {
            if (c == ']') {
                inSet = false;
                out += ']';
                haveElement = true;
            } else if (c == '\\' || c == '[') {
                out += '\\';
                out += c;
            } else {
                out += c;
            }
            continue;
        }
        switch (c) {
        case '?': out += "[\\s\\S]"; haveElement = true; break;
        case '*':
        case '+':
            if (!haveElement) return false;
            out += c;
            haveElement = false;
            break;
        case '[':
            inSet = true;
            out += '[';
            if (i + 1 < expr.size() && expr[i + 1] == '^') {
                out += '^';
                ++i;
            }
            if (i + 1 < expr.size() && expr[i + 1] == ']') return false;  // empty set
            break;
        case '(': ++depth; out += '('; haveElement = false; break;
        case ')':
            if (--depth < 0) return false;
            out += ')';
            haveElement = true;
            break;
        case '|': out += '|'; haveElement = false; break;
        case '\\':
            if (i + 1 >= expr.size()) return false;
            c = expr[++i];
            [[fallthrough]];
        default:
            if (std::string_view("^$.{}\\/").find(c) != std::string_view::npos) out += '\\';
            out += c;
            haveElement = true;
            break;
        }
    }
    return !inSet && depth == 0;
}

}  // namespace

bool FindExpression::compile(const std::string& expr) {
    regex_.reset();
    if (expr.empty() || expr.size() > kMaxExpression) return false;
    // Attribute filters in braces are not supported: refuse rather than ignore.
    if (expr.find('{') != std::string::npos) return false;
    std::string pattern;
    if (!translate(expr, pattern)) return false;
    try {
        auto re = std::make_shared<std::regex>(pattern, std::regex::ECMAScript | std::regex::icase |
                                                            std::regex::optimize);
        regex_ = re;
    } catch (const std::regex_error&) {
        return false;
    }
    return true;
}

bool FindExpression::matches(const std::string& resource) const {
    if (!regex_) return false;
    try {
        return std::regex_match(resource, *regex_);
    } catch (const std::regex_error&) {
        return false;  // too complex to decide: no match
    }
}

std::vector<std::string> builtinResources() {
    std::vector<std::string> out;
    // Serial ports: platform UARTs that have hardware behind them, and USB adapters.
    if (DIR* d = opendir("/sys/class/tty")) {
        std::vector<std::string> names;
        while (dirent* e = readdir(d)) names.emplace_back(e->d_name);
        closedir(d);
        std::sort(names.begin(), names.end());
        for (const auto& n : names) {
            if (n.rfind("ttyS", 0) == 0 && n.size() > 4 && n.size() < 8) {
                std::ifstream type("/sys/class/tty/" + n + "/type");
                int t = 0;
                if (type >> t && t != 0) out.push_back("ASRL" + std::to_string(std::atoi(n.c_str() + 4) + 1) + "::INSTR");
            } else if (n.rfind("ttyUSB", 0) == 0 || n.rfind("ttyACM", 0) == 0) {
                out.push_back("ASRL/dev/" + n + "::INSTR");
            }
        }
    }
    if (const char* env = std::getenv("QUILVANE_VISA_RESOURCES")) {
        std::string all(env);
        size_t start = 0;
        while (start <= all.size() && out.size() < 1024) {
            size_t end = all.find(';', start);
            if (end == std::string::npos) end = all.size();
            std::string item = all.substr(start, end - start);
            if (!item.empty() && item.size() < 256) out.push_back(item);
            start = end + 1;
        }
    }
    return out;
}

}  // namespace qv::visa
