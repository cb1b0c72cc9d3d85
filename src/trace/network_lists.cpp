// The network analyzers' channel and trace lists, filled from the
// instrument's catalogues; and the plain list that stands in for a selector
// where there is no window.
#include "app/context.h"
#include "instrument_io/vif.h"
#include "trace/reader.h"
#include "trace/reader_support.h"

#include <algorithm>

namespace qv::trace {

void ListSelector::clear() {
    items.clear();
    index = -1;
    edited.clear();
}

void ListSelector::add(const std::string& item) { items.push_back(item); }

int ListSelector::count() const { return int(items.size()); }

std::string ListSelector::item(int i) const { return i >= 0 && i < count() ? items[size_t(i)] : std::string(); }

bool ListSelector::select(int i) {
    edited.clear();
    if (i < 0 || i >= count()) {
        index = -1;
        return false;
    }
    index = i;
    return true;
}

std::string ListSelector::text() const { return edited.empty() ? item(index) : edited; }

namespace {

// Fields between commas; a text without a comma is one field.
std::vector<std::string_view> commaFields(std::string_view text) {
    std::vector<std::string_view> out;
    for (;;) {
        const size_t comma = text.find(',');
        out.push_back(text.substr(0, comma));
        if (comma == std::string_view::npos || out.size() >= 2 * kMaxCatalogueItems) break;
        text.remove_prefix(comma + 1);
    }
    return out;
}

}  // namespace

std::vector<std::string> channelCatalogueItems(std::string_view answer) {
    std::string text;
    text.reserve(answer.size());
    for (char c : answer)
        if (c != '\'') text += c;
    std::vector<std::string> out;
    if (text.empty()) return out;
    const std::vector<std::string_view> fields = commaFields(text);
    for (size_t i = 0; i < fields.size() && out.size() < kMaxCatalogueItems; i += 2) out.emplace_back(fields[i]);
    return out;
}

std::vector<std::string> traceCatalogueNames(std::string_view answer) {
    // The quotes around the list go; what lies between is name, parameter,
    // name, parameter, ...
    if (answer.size() < 2) return {};
    answer = answer.substr(1, answer.size() - 2);
    std::vector<std::string> out;
    if (answer.empty()) return out;
    const std::vector<std::string_view> fields = commaFields(answer);
    for (size_t i = 0; i < fields.size() && out.size() < kMaxCatalogueItems; i += 2) out.emplace_back(fields[i]);
    return out;
}

bool catalogueHolds(std::string_view answer, std::string_view item) {
    const std::string key(item);
    return answer.find(key + ",") != std::string_view::npos || answer.find(key + "'") != std::string_view::npos;
}

// A read that failed leaves a buffer of blanks behind; ask() makes that an
// empty answer, which is what the lists test for.
void fillChannelList(io::VIF& vif, Selector& channels) {
    const std::string answer = detail::ask(vif, "CONF:CHAN:CAT?");
    channels.clear();
    for (const std::string& item : channelCatalogueItems(answer)) channels.add(item);
    channels.select(0);
    shared().SelectedChannel = 0;
}

void fillTraceList(io::VIF& vif, Selector& channels, Selector& traces) {
    std::string answer = detail::ask(vif, "CALC" + channels.text() + ":PAR:CAT?");
    if (answer.empty()) {
        fillChannelList(vif, channels);
        answer = detail::ask(vif, "CALC" + channels.text() + ":PAR:CAT?");
    }
    traces.clear();
    for (const std::string& name : traceCatalogueNames(answer)) traces.add(name);
    traces.select(0);
    app::context().SelectedTrace = 0;
}

bool openOwnVif(io::VIF& vif, const VifTarget& target) {
    if (target.prepareVif) target.prepareVif(vif);
    return vif.OpenDevice(target.resource, true, false, target.openTimeoutMs, true);
}

}  // namespace qv::trace
