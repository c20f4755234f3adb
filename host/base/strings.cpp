#include "host/base/strings.h"

#include <algorithm>
#include <cstdint>

namespace host {

namespace {

constexpr std::string_view kReplacement = "\xEF\xBF\xBD"; // U+FFFD

// The length of the well-formed character at the start of `bytes`; 0 when there is none. The bounds
// of the second byte exclude overlong forms, surrogates and numbers above U+10FFFF.
// REQUIRES: `bytes` is not empty.
size_t characterLength(std::string_view bytes) noexcept {
  const auto at = [&](size_t i) { return static_cast<uint8_t>(bytes[i]); };
  const uint8_t lead = at(0);
  if (lead < 0x80)
    return 1;
  if (lead < 0xC2 || lead > 0xF4)
    return 0;
  const size_t length = lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
  if (bytes.size() < length)
    return 0;
  const uint8_t lowest = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
  const uint8_t highest = lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
  if (at(1) < lowest || at(1) > highest)
    return 0;
  for (size_t i = 2; i < length; ++i)
    if (at(i) < 0x80 || at(i) > 0xBF)
      return 0;
  return length;
}

bool isControl(std::string_view character) noexcept {
  const auto first = static_cast<uint8_t>(character[0]);
  if (first == 0xC2) // U+0080 to U+009F
    return static_cast<uint8_t>(character[1]) < 0xA0;
  return first < 0x20 || first == 0x7F;
}

std::string cleaned(std::string_view bytes, bool keepControls) {
  std::string clean;
  while (!bytes.empty()) {
    const size_t length = characterLength(bytes);
    const std::string_view character = bytes.substr(0, length);
    const bool keep = length != 0 && (keepControls || !isControl(character));
    clean += keep ? character : kReplacement;
    bytes.remove_prefix(length == 0 ? 1 : length);
  }
  return clean;
}

} // namespace

std::string validUtf8(std::string_view bytes) {
  return cleaned(bytes, true);
}

std::string printable(std::string_view bytes) {
  return cleaned(bytes, false);
}

size_t width(std::string_view string) noexcept {
  return static_cast<size_t>(
      std::count_if(string.begin(), string.end(), [](char c) { return (c & 0xC0) != 0x80; }));
}

std::string shortened(std::string_view bytes, size_t most) {
  std::string string = printable(bytes);
  if (width(string) <= most)
    return string;
  std::string_view rest = string;
  for (size_t i = 1; i < most; ++i)
    rest.remove_prefix(characterLength(rest));
  return string.substr(0, string.size() - rest.size()) + "…";
}

std::string csvField(std::string_view bytes) {
  std::string valid = validUtf8(bytes);
  if (valid.find_first_of(",\"\r\n") == std::string::npos)
    return valid;
  std::string quoted = "\"";
  for (const char c : valid)
    quoted.append(c == '"' ? 2 : 1, c);
  return quoted + '"';
}

} // namespace host
