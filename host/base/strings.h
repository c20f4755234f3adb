// Strings from files, made safe for what they are written into: they can hold any bytes.
#pragma once

#include <string>
#include <string_view>

namespace host {

// Valid UTF-8: what belongs to no character becomes U+FFFD.
std::string validUtf8(std::string_view bytes);

// The same, with control characters replaced too: a name must not send commands to a terminal.
std::string printable(std::string_view bytes);

// The number of characters of valid UTF-8, each of which is taken to be one column wide.
size_t width(std::string_view string) noexcept;

// At most so many characters (one at least), printable; the last of them is … where something is
// left out.
std::string shortened(std::string_view bytes, size_t most);

// A field of a CSV row: valid UTF-8, in quotes where needed.
std::string csvField(std::string_view bytes);

} // namespace host
