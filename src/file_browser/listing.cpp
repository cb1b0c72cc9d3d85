#include "file_browser/listing.h"

#include "families/registry.h"
#include "instrument_io/vif.h"

namespace qv::file_browser {

namespace {

// A catalogue port on an open session.
class SessionPort final : public CatalogPort {
public:
    SessionPort(io::VIF& device, std::string* unanswered) : device_(device), unanswered_(unanswered) {}

    void write(const std::string& command) override { device_.WriteString(command, 0); }

    std::string ask(const std::string& query, bool report) override {
        std::string answer(kMaxAnswer, ' ');
        const bool answered = device_.ReadString(query, answer, long(kMaxAnswer), report);
        if (!answered && nothingArrived(answer)) {
            if (unanswered_ && unanswered_->empty()) *unanswered_ = query;
        } else if (answered && answer.size() >= kMaxAnswer) {
            // The answer filled the buffer, so it was most likely cut: the
            // rest still waits and would be read as the next query's answer.
            // A device clear gives it up within the session's time-out.
            device_.ClearDevice();
        }
        if (answer.size() > kMaxAnswer) answer.resize(kMaxAnswer);
        return answer;
    }

private:
    static bool nothingArrived(const std::string& answer) {
        return answer.size() == kMaxAnswer && answer.find_first_not_of(' ') == std::string::npos;
    }

    io::VIF& device_;
    std::string* unanswered_;
};

}  // namespace

const ListingDialect* listingDialectFor(std::string_view devType) {
    const family::Family* f = family::find(devType);
    return f ? f->listing : nullptr;
}

bool ListDirectory(CatalogPort& port, std::string_view devType, std::string_view path,
                   std::vector<InstFileEntry>& entries, bool& empty) {
    entries.clear();
    empty = true;
    const ListingDialect* dialect = listingDialectFor(devType);
    if (!dialect || !dialect->list) return true;
    if (dialect->list(port, path, entries, empty)) return true;
    entries.clear();
    empty = true;
    return false;
}

bool ListDirectory(io::VIF& device, std::string_view devType, std::string_view path,
                   std::vector<InstFileEntry>& entries, bool& empty, std::string* unanswered) {
    if (unanswered) unanswered->clear();
    SessionPort port(device, unanswered);
    return ListDirectory(port, devType, path, entries, empty);
}

}  // namespace qv::file_browser
