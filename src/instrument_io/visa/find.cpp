#include "find.h"

#include <dirent.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <cctype>

namespace qv::visa {

namespace {

constexpr size_t kMaxExpression = 256;

using State = FindExpression::State;

// A piece of the machine under construction: its first state and the
// dangling exits still to be joined to what follows.
struct Frag {
    int start;
    std::vector<int*> outs;  // pointers into states kept stable by reserve()
};

// Recursive descent over the VISA operators: ? one character, * and + repeat
// the element before, [list] and [^list] sets, | alternatives, ( ) groups,
// \ escapes. Matching ignores case.
class Compiler {
public:
    Compiler(const std::string& e, std::vector<State>& s) : e_(e), s_(s) {}

    bool run(int& start) {
        s_.clear();
        s_.reserve(4 * e_.size() + 8);  // no reallocation: Frag keeps pointers
        Frag f;
        if (!alternation(f) || pos_ != e_.size()) return false;
        int match = add(State::Match);
        patch(f, match);
        start = f.start;
        return true;
    }

private:
    int add(State::Kind k) {
        State st;
        st.kind = k;
        s_.push_back(st);
        return int(s_.size()) - 1;
    }
    static void patch(Frag& f, int to) {
        for (int* p : f.outs) *p = to;
        f.outs.clear();
    }
    bool more() const { return pos_ < e_.size(); }

    bool alternation(Frag& out) {
        if (!sequence(out)) return false;
        while (more() && e_[pos_] == '|') {
            ++pos_;
            Frag right;
            if (!sequence(right)) return false;
            int split = add(State::Split);
            s_[split].out = out.start;
            s_[split].out1 = right.start;
            out.start = split;
            out.outs.insert(out.outs.end(), right.outs.begin(), right.outs.end());
        }
        return true;
    }

    // A run of elements; an empty run matches the empty text.
    bool sequence(Frag& out) {
        bool first = true;
        while (more() && e_[pos_] != '|' && e_[pos_] != ')') {
            Frag f;
            if (!repeat(f)) return false;
            if (first) {
                out = f;
                first = false;
            } else {
                patch(out, f.start);
                out.outs = f.outs;
            }
        }
        if (first) {
            int split = add(State::Split);  // an epsilon: both exits to what follows
            out.start = split;
            out.outs = {&s_[split].out, &s_[split].out1};
        }
        return true;
    }

    bool repeat(Frag& out) {
        if (!atom(out)) return false;
        while (more() && (e_[pos_] == '*' || e_[pos_] == '+')) {
            bool star = e_[pos_++] == '*';
            int split = add(State::Split);
            s_[split].out = out.start;
            patch(out, split);
            if (star) out.start = split;
            out.outs = {&s_[split].out1};
        }
        return true;
    }

    static void addChar(std::bitset<256>& set, unsigned char c) {
        set.set(c);
        set.set(static_cast<unsigned char>(std::toupper(c)));
        set.set(static_cast<unsigned char>(std::tolower(c)));
    }

    bool atom(Frag& out) {
        char c = e_[pos_++];
        if (c == '*' || c == '+') return false;  // nothing to repeat
        if (c == '(') {
            if (!alternation(out) || !more() || e_[pos_] != ')') return false;
            ++pos_;
            return true;
        }
        int st = add(State::Chars);
        std::bitset<256>& set = s_[st].chars;
        if (c == '?') {
            set.set();
        } else if (c == '[') {
            bool negate = more() && e_[pos_] == '^';
            if (negate) ++pos_;
            bool any = false;
            while (more() && e_[pos_] != ']') {
                unsigned char lo = static_cast<unsigned char>(e_[pos_++]);
                if (lo == '\\') {
                    if (!more()) return false;
                    lo = static_cast<unsigned char>(e_[pos_++]);
                }
                unsigned char hi = lo;
                if (pos_ + 1 < e_.size() && e_[pos_] == '-' && e_[pos_ + 1] != ']') {
                    hi = static_cast<unsigned char>(e_[pos_ + 1]);
                    pos_ += 2;
                    if (hi < lo) return false;
                }
                for (unsigned v = lo; v <= hi; ++v) addChar(set, static_cast<unsigned char>(v));
                any = true;
            }
            if (!more() || !any) return false;  // unclosed or empty set
            ++pos_;
            if (negate) set.flip();
        } else {
            if (c == '\\') {
                if (!more()) return false;
                c = e_[pos_++];
            }
            if (c == ')' || c == '|') return false;
            addChar(set, static_cast<unsigned char>(c));
        }
        out.start = st;
        out.outs = {&s_[st].out};
        return true;
    }

    const std::string& e_;
    std::vector<State>& s_;
    size_t pos_ = 0;
};

// Adds a state and everything reachable from it without reading a byte.
void follow(const std::vector<State>& s, int i, std::vector<int>& list, std::vector<int>& mark, int gen) {
    std::vector<int> stack{i};
    while (!stack.empty()) {
        int k = stack.back();
        stack.pop_back();
        if (k < 0 || mark[size_t(k)] == gen) continue;
        mark[size_t(k)] = gen;
        if (s[size_t(k)].kind == State::Split) {
            stack.push_back(s[size_t(k)].out1);
            stack.push_back(s[size_t(k)].out);
        } else {
            list.push_back(k);
        }
    }
}

}  // namespace

bool FindExpression::compile(const std::string& expr) {
    states_.clear();
    start_ = -1;
    if (expr.empty() || expr.size() > kMaxExpression) return false;
    // Attribute filters in braces are not supported: refuse rather than ignore.
    if (expr.find('{') != std::string::npos) return false;
    Compiler c(expr, states_);
    if (!c.run(start_)) {
        states_.clear();
        start_ = -1;
        return false;
    }
    return true;
}

bool FindExpression::matches(const std::string& resource) const {
    if (start_ < 0) return false;
    std::vector<int> current, next, mark(states_.size(), -1);
    int gen = 0;
    follow(states_, start_, current, mark, gen);
    for (unsigned char c : resource) {
        next.clear();
        ++gen;
        for (int k : current) {
            const State& st = states_[size_t(k)];
            if (st.kind == State::Chars && st.chars.test(c)) follow(states_, st.out, next, mark, gen);
        }
        current.swap(next);
        if (current.empty()) return false;
    }
    for (int k : current)
        if (states_[size_t(k)].kind == State::Match) return true;
    return false;
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
