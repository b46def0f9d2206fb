// A node as one line, by a format.
#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>
#include <ctime>
#include <new>
#include <string_view>

#include <oxbase/oxb.h>
#include <oxbase/oxc.h>

#include "common/context.h"
#include "common/pointer_result.h"
#include "common/trace.h"
#include "data/dnode_fields.h"
#include "data/growing_text.h"
#include "data/value_texts.h"
#include "platform/clock.h"

namespace ox::data {
namespace {

constexpr char default_format[] = "%C\t%QS\t%-22AB\t%V\n";
constexpr std::size_t widest_field = 4096;

struct FormatState {
  GrowingText line{"dn_dp2str_000", "dn_dp2str_001"};
  char small[32] = {};  // a number or a date on its way into the line
};

// The text of one conversion. It may stand in `small`.
using FieldText = const char* (*)(const dnode& node, FormatState& state);

const char* percent(const dnode&, FormatState&) { return "%"; }

const char* comp_name(const dnode& node, FormatState&) {
  return node.has(bit::comp_name) ? node.comp_name.text : "(no_compname)";
}

const char* comp_type(const dnode& node, FormatState&) {
  return node.has(bit::comp_type) ? node.comp_type.text : "(no_comptype)";
}

const char* amib_path(const dnode& node, FormatState&) {
  return node.has(bit::amib_name) ? node.amib_name.text : "(no_amibname)";
}

template <OX_RESULT(OX_CALL* convert)(const char*, const char**)>
const char* amib_name(const dnode& node, FormatState& state) {
  if (!node.has(bit::amib_name)) return amib_path(node, state);
  const char* name = nullptr;
  return convert(node.amib_name.text, &name) == OX_OK ? name : "(bad AMIB name)";
}

const char* number(std::uint32_t seconds, FormatState& state) {
  *std::to_chars(state.small, state.small + sizeof state.small - 1, seconds).ptr = '\0';
  return state.small;
}

const char* time_text(std::uint32_t seconds, FormatState& state) {
  const char* text = oxcUxTimeToStr(seconds);
  return text != nullptr ? text : number(seconds, state);
}

// The standard time text without its line end: "Thu Sep  3 10:20:30 2009".
const char* date(std::uint32_t seconds, FormatState& state) {
  constexpr const char* days[] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
  constexpr const char* months[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun", "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
  std::tm time{};
  if (!platform::local_time(seconds, time)) return number(seconds, state);
  (void)std::snprintf(state.small, sizeof state.small, "%s %s%3d %.2d:%.2d:%.2d %d", days[time.tm_wday],
                      months[time.tm_mon], time.tm_mday, time.tm_hour, time.tm_min, time.tm_sec, time.tm_year + 1900);
  return state.small;
}

template <const auto& field, const char* (*form)(std::uint32_t, FormatState&)>
const char* time_field(const dnode& node, FormatState& state) {
  constexpr const char* absent = field.bit == bit::req_time ? "(no_reqtime)" : "(no_rsptime)";
  return node.has(field.bit) ? form(node.*field.member, state) : absent;
}

template <const char* (*value_text)(const dnode&) noexcept>
const char* value_or_error(const dnode& node, FormatState&) {
  return node.err_code != 0 ? oxcStrError(node.err_code) : value_text(node);
}

struct Conversion {
  std::string_view letters;
  FieldText text;
};

constexpr std::array conversions{
    Conversion{"%", percent},
    Conversion{"C", comp_name},
    Conversion{"T", comp_type},
    Conversion{"AB", amib_name<oxbBasename>},
    Conversion{"AN", amib_path},
    Conversion{"AS", amib_name<oxbStrName>},
    Conversion{"QD", time_field<fields::req_time, date>},
    Conversion{"QN", time_field<fields::req_time, number>},
    Conversion{"QS", time_field<fields::req_time, time_text>},
    Conversion{"SD", time_field<fields::rsp_time, date>},
    Conversion{"SN", time_field<fields::rsp_time, number>},
    Conversion{"SS", time_field<fields::rsp_time, time_text>},
    Conversion{"V", value_or_error<display_text>},
    Conversion{"W", value_or_error<raw_text>},
};

// The conversion whose letters the format begins with, taken off it; null, with the wrong letters taken off, when there
// is none.
FieldText take_conversion(std::string_view& format) noexcept {
  for (const Conversion& conversion : conversions) {
    if (!format.starts_with(conversion.letters)) continue;
    format.remove_prefix(conversion.letters.size());
    return conversion.text;
  }
  const bool two_letters = format.find_first_of("AQS") == 0;
  format.remove_prefix(std::min<std::size_t>(format.size(), two_letters ? 2 : 1));
  return nullptr;
}

std::size_t take_width(std::string_view& format) noexcept {
  std::size_t width = 0;
  while (!format.empty() && format.front() >= '0' && format.front() <= '9') {
    width = std::min<std::size_t>(width * 10 + static_cast<unsigned>(format.front() - '0'), widest_field + 1);
    format.remove_prefix(1);
  }
  return width;
}

// One field, its "%" taken off the format already.
void append_field(std::string_view& format, const dnode& node, FormatState& state) {
  const bool left = format.starts_with('-');
  if (left) format.remove_prefix(1);
  const std::size_t width = take_width(format);
  const FieldText make_text = take_conversion(format);
  if (make_text == nullptr) return state.line.append("(format_error)");
  if (width > widest_field) return state.line.append("(too_long)");
  const std::string_view text = make_text(node, state);
  const std::size_t padding = width > text.size() ? width - text.size() : 0;
  if (!left) state.line.append(padding, ' ');
  state.line.append(text);
  if (left) state.line.append(padding, ' ');
}

const char* format_line(std::string_view format, const dnode& node) {
  auto& state = context<FormatState>();
  state.line.clear();
  while (!format.empty()) {
    const std::size_t plain = std::min(format.find('%'), format.size());
    state.line.append(format.substr(0, plain));
    format.remove_prefix(plain);
    if (format.empty()) break;
    format.remove_prefix(1);
    append_field(format, node, state);
  }
  return state.line.text();
}

// Never null.
const char* line_of(const char* format, const dnode* node) noexcept {
  static constexpr dnode nothing{};
  try {
    const char* line = format_line(format != nullptr ? format : default_format, node != nullptr ? *node : nothing);
    return line != nullptr ? line : "(no_memory)";
  } catch (const std::bad_alloc&) {
    return "(no_memory)";
  }
}

}  // namespace
}  // namespace ox::data

using namespace ox;
using namespace ox::data;

const char* OX_CALL oxdDnodeToStr(const char* format, dnode* node) {
  OX_ENTRY("oxdDnodeToStr", ":%s:%x", trace::text(format), trace::word(node));
  return traced_pointer("oxdDnodeToStr", [&] { return line_of(format, node); });
}

OX_RESULT OX_CALL oxdPrint(const char* format, dnode* list) {
  OX_ENTRY("oxdPrint", ":%s:%x", trace::text(format), trace::word(list));
  return traced("oxdPrint", [&] {
    for (const dnode* node = list; node != nullptr; node = node->next) (void)std::fputs(line_of(format, node), stdout);
    (void)std::fflush(stdout);
    return OX_RESULT{OX_OK};
  });
}

OX_RESULT OX_CALL oxdPrintLog(const char* format, dnode* list) {
  OX_ENTRY("oxdPrintLog", ":%s:%x", trace::text(format), trace::word(list));
  return traced("oxdPrintLog", [&] {
    // With every bit clear nothing is written, so nothing is formatted.
    for (const dnode* node = list; node != nullptr && trace::on(~0U); node = node->next) {
      (void)trace::write("%s", line_of(format, node));
    }
    return OX_RESULT{OX_OK};
  });
}
