// A report's RTF source as a file office programs open: the source the
// composer flushed has no document header and carries the program's UTF-8
// text as it came, both of which those programs do not read as RTF.
#pragma once

#include <string>
#include <string_view>

namespace qv::documents {

// The document: a header naming the font, the colour table, the runs as
// the source has them; characters beyond ASCII as RTF escapes (bytes that
// are no UTF-8 as "\'hh"). A source of another form is kept whole as one
// group inside the header.
std::string RtfFileText(std::string_view source, std::string_view fontName);

}  // namespace qv::documents
