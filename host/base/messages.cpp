#include "host/base/messages.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <system_error>

#include <nlohmann/json.hpp>
#include <stdio.h>

namespace host {

namespace {

// What belongs to no character becomes U+FFFD.
std::string validUtf8(std::string_view bytes) {
  // JSON is UTF-8, so its library can replace what is not.
  using Json = nlohmann::json;
  return Json::parse(Json(bytes).dump(-1, ' ', false, Json::error_handler_t::replace))
      .get<std::string>();
}

} // namespace

Error systemError(const std::string& what, int code) {
  return Error(what + ": " + std::generic_category().message(code));
}

// What cannot be written is dropped: there is no place left to report it.
void reportError(std::string_view message) {
  (void)fputs(("ox-wp-host: " + printable(message) + '\n').c_str(), stderr);
}

std::string printable(std::string_view bytes) {
  const std::string valid = validUtf8(bytes);
  std::string clean;
  for (std::size_t i = 0; i < valid.size(); ++i) {
    const auto byte = static_cast<std::uint8_t>(valid[i]);
    const bool isLong =
        byte == 0xC2 && static_cast<std::uint8_t>(valid[i + 1]) < 0xA0; // U+0080 to 009F
    if (isLong || byte < 0x20 || byte == 0x7F)
      clean += "\uFFFD";
    else
      clean += valid[i];
    i += isLong ? 1 : 0;
  }
  return clean;
}

std::size_t width(std::string_view string) noexcept {
  const auto isFirstByte = [](char c) { return (c & 0xC0) != 0x80; };
  return static_cast<std::size_t>(std::ranges::count_if(string, isFirstByte));
}

std::string shortened(std::string_view bytes, std::size_t most) {
  std::string string = printable(bytes);
  if (width(string) <= most)
    return string;
  while (width(string) >= most) // until the first byte of a character is dropped
    string.pop_back();
  return string + "…";
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

double toNanosecond(double seconds) noexcept {
  constexpr double kNanoseconds = 1e9;             // of a second
  constexpr double kExact = 0x1p53 / kNanoseconds; // beyond it a double is coarser than that
  return std::abs(seconds) < kExact ? std::round(seconds * kNanoseconds) / kNanoseconds : seconds;
}

} // namespace host
