#include "common/fixed_message.h"

#include <iterator>

#include "common/installed_page.h"
#include "common/settings.h"

namespace ox {
namespace {

// One text per FixedMessage, in its order. "%s" stands for the text, "%d" for the number, "%g" for the group's name.
constexpr const char* english[] = {
    "The capacity is limited.\r\n",
    "System error.(%s,%d)\r\n",
    "The message file does not exist.\r\n(%s)\r\n",
    "The message file size is too big.\r\n(%s)\r\n",
    "The message file attribute is illegal.\r\n(%s)\r\n",
    ("The %g user group is not found.If the %g user group exists on Domain Controller,check whether or n"
     "ot the Domain Controller can be referred.\r\nError Code:%d\r\n"),
    "The OXBASE directory does not exist.\r\n",
    "No authorization was obtained.\n",
    "[ErrorCode=%d]",
};

// The same in code page 932.
constexpr const char* japanese[] = {
    // capacity
    "\x97\x65\x97\xCA\x82\xC9\x90\xA7\x8C\xC0\x82\xAA\x82\xA0\x82\xE8\x82\xDC\x82\xB7\x81\x42\r\n",
    // system
    "\x83\x56\x83\x58\x83\x65\x83\x80\x83\x47\x83\x89\x81\x5B\x82\xAA\x94\xAD\x90\xB6\x82\xB5\x82\xDC"
    "\x82\xB5\x82\xBD\x81\x42(%s,%d)\r\n",
    // no_file
    "\x83\x81\x83\x62\x83\x5A\x81\x5B\x83\x57\x83\x74\x83\x40\x83\x43\x83\x8B\x82\xAA\x91\xB6\x8D\xDD"
    "\x82\xB5\x82\xDC\x82\xB9\x82\xF1\x81\x42\r\n(%s)\r\n",
    // too_big
    "\x83\x81\x83\x62\x83\x5A\x81\x5B\x83\x57\x83\x74\x83\x40\x83\x43\x83\x8B\x82\xCC\x83\x54\x83\x43"
    "\x83\x59\x82\xAA\x91\xE5\x82\xAB\x82\xB7\x82\xAC\x82\xDC\x82\xB7\x81\x42\r\n(%s)\r\n",
    // attribute
    "\x83\x81\x83\x62\x83\x5A\x81\x5B\x83\x57\x83\x74\x83\x40\x83\x43\x83\x8B\x82\xCC\x91\xAE\x90\xAB"
    "\x82\xAA\x95\x73\x90\xB3\x82\xC5\x82\xB7\x81\x42\r\n(%s)\r\n",
    // no_group
    "%g\x83\x86\x81\x5B\x83\x55\x83\x4F\x83\x8B\x81\x5B\x83\x76\x82\xAA\x8C\xA9\x82\xC2\x82\xA9"
    "\x82\xE8\x82\xDC\x82\xB9\x82\xF1\x81\x42%g\x83\x86\x81\x5B\x83\x55\x83\x4F\x83\x8B\x81\x5B"
    "\x83\x76\x82\xAA\x83\x68\x83\x81\x83\x43\x83\x93\x83\x52\x83\x93\x83\x67\x83\x8D\x81\x5B\x83\x89"
    "\x8F\xE3\x82\xC9\x91\xB6\x8D\xDD\x82\xB7\x82\xE9\x8F\xEA\x8D\x87\x82\xCD\x81\x41\x83\x68\x83\x81"
    "\x83\x43\x83\x93\x83\x52\x83\x93\x83\x67\x83\x8D\x81\x5B\x83\x89\x82\xF0\x8E\x51\x8F\xC6\x82\xC5"
    "\x82\xAB\x82\xE9\x82\xA9\x8A\x6D\x94\x46\x82\xB5\x82\xC4\x82\xAD\x82\xBE\x82\xB3\x82\xA2\x81\x42"
    "\r\n\x83\x47\x83\x89\x81\x5B\x83\x52\x81\x5B\x83\x68:%d\r\n",
    // no_home
    "OXBASE\x82\xCC\x83\x66\x83\x42\x83\x8C\x83\x4E\x83\x67\x83\x8A\x82\xAA\x91\xB6\x8D\xDD\x82\xB5"
    "\x82\xDC\x82\xB9\x82\xF1\x81\x42\r\n",
    // no_authorization
    "\x8C\xA0\x8C\xC0\x82\xAA\x93\xBE\x82\xE7\x82\xEA\x82\xDC\x82\xB9\x82\xF1\x82\xC5\x82\xB5\x82\xBD"
    "\x81\x42\n",
    // platform_error
    "[\x83\x47\x83\x89\x81\x5B\x83\x52\x81\x5B\x83\x68=%d]",
};

static_assert(std::size(english) == fixed_messages && std::size(japanese) == fixed_messages);

const char* group_name() {
  std::uint32_t brand = settings::default_brand;
  (void)settings::read_brand(brand);
  return brand == settings::default_brand ? "TESSEL" : "Authority";
}

// In the system's language, in the installation's code page.
std::string format_of(FixedMessage message) {
  const auto index = static_cast<std::size_t>(message);
  return settings::language_is_japanese() ? composed(japanese[index]) : english[index];
}

}  // namespace

const char* shortage_text() noexcept {
  const bool as_it_is = settings::language_is_japanese() && installed_page().number() == platform::shift_jis;
  return (as_it_is ? japanese : english)[static_cast<std::size_t>(FixedMessage::capacity)];
}

std::string fixed_message(FixedMessage message, std::string_view text, std::uint32_t number) {
  std::string result;
  const std::string format = format_of(message);
  for (const char* next = format.c_str(); *next != '\0'; ++next) {
    if (*next != '%') {  // "%" is no later byte of a character
      result += *next;
      continue;
    }
    switch (*++next) {
      case 's':
        result += text;
        break;
      case 'd':
        result += std::to_string(number);
        break;
      default:
        result += group_name();
    }
  }
  return result;
}

}  // namespace ox
