#include "automation/script.h"

#include "app/text.h"

#include <algorithm>
#include <cctype>

namespace qv::automation {

std::vector<std::string> SplitLines(std::string_view text) {
  std::vector<std::string> lines;
  while (!text.empty()) {
    const size_t end = std::min(text.find('\n'), text.size());
    std::string_view line = text.substr(0, end);
    if (!line.empty() && line.back() == '\r')
      line.remove_suffix(1);
    lines.emplace_back(line);
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return lines;
}

ScriptLine PrepareLine(std::string_view raw) {
  ScriptLine out;
  std::string line = app::TrimBlanks(raw);
  if (size_t cut = line.find("--"); cut != std::string::npos)
    line.resize(cut);
  std::string spaced;
  spaced.reserve(line.size());
  for (char c : line) {
    if (c == '\t')
      spaced += "    ";
    else
      spaced += c;
  }
  line = app::TrimBlanks(spaced);
  if (line.empty())
    return out;
  out.empty = false;
  const size_t colon = line.find(':');
  if (colon == std::string::npos)
    return out;
  out.hasColon = true;
  out.keyword = app::TrimBlanks(std::string_view(line).substr(0, colon));
  std::transform(out.keyword.begin(), out.keyword.end(), out.keyword.begin(),
                 [](unsigned char c) { return char(std::tolower(c)); });
  out.value = app::TrimBlanks(std::string_view(line).substr(colon + 1));
  return out;
}

} // namespace qv::automation
