#include "manager/components/store_text.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstring>

#include <oxbase/oxbytes.h>

#include "manager/base/checksum.h"

namespace ox::manager {
namespace {

using Kind = Change::Kind;

struct Form {
  Kind kind;
  std::string_view keyword;
  std::size_t values;
};
constexpr std::array forms{
    Form{Kind::add, "component", 2}, Form{Kind::remove, "removed", 2},  Form{Kind::set, "value", 6},
    Form{Kind::unset, "unset", 3},   Form{Kind::relate, "relation", 5}, Form{Kind::unrelate, "unrelated", 5},
};

std::uint32_t checksum(std::string_view text) { return crc32(std::as_bytes(std::span(text))); }

constexpr std::string_view digits = "0123456789abcdef";

std::string hex(std::string_view bytes) {
  std::string text;
  text.reserve(2 * bytes.size());
  for (const char c : bytes) {
    text += digits[static_cast<unsigned char>(c) >> 4];
    text += digits[static_cast<unsigned char>(c) & 15];
  }
  return text;
}

std::optional<std::string> from_hex(std::string_view text) {
  if (text.size() % 2 != 0) return std::nullopt;
  std::string bytes;
  bytes.reserve(text.size() / 2);
  for (std::size_t at = 0; at < text.size(); at += 2) {
    const auto high = digits.find(text[at]);
    const auto low = digits.find(text[at + 1]);
    if (high == digits.npos || low == digits.npos) return std::nullopt;
    bytes += static_cast<char>(high << 4 | low);
  }
  return bytes;
}

bool is_plain(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return c >= 0x20 && c < 0x7F; });
}

std::string quoted(std::string_view text) {
  std::string out = "\"";
  for (const char c : text) {
    if (c == '"' || c == '\\') out += '\\';
    out += c;
  }
  return out + '"';
}

bool is_number(std::uint32_t type) { return type >= OX_INTEGER && type <= OX_UNIXTIME; }
bool is_text(std::uint32_t type) { return type == OX_DISPLAYSTRING || type == OX_OBJECTID; }

// A name of plain characters is quoted; any other is written in hexadecimal after "=", since the tokenizer would read
// bytes of double-byte characters its own way.
std::string name_value(const std::string& name) {
  return is_plain(name) && name.front() != '=' ? quoted(name) : '=' + hex(name);
}
std::string name_values(const ComponentName& name) { return '\t' + name.type + '\t' + name_value(name.name); }

bool read_name(std::string_view type, std::string_view text, ComponentName& name) {
  std::optional<std::string> read(text);
  if (text.starts_with('=')) read = from_hex(text.substr(1));
  if (!read || read->empty()) return false;
  name = {std::string(type), std::move(*read)};
  return true;
}

std::string value_values(const Value& value) {
  std::string out = '\t' + std::to_string(value.type);
  if (is_number(value.type) && value.bytes.size() == 4) {
    const auto number = peek_long(reinterpret_cast<const unsigned char*>(value.bytes.data()));
    return out + "\tnumber\t" + std::to_string(number);
  }
  if (is_text(value.type) && !value.bytes.empty() && value.bytes.back() == '\0') {
    const auto text = std::string_view(value.bytes).substr(0, value.bytes.size() - 1);
    if (is_plain(text)) return out + "\ttext\t" + quoted(text);
  }
  return out + "\thex\t" + quoted(hex(value.bytes));
}

template <class Number>
bool read_number(std::string_view text, Number& number, int base = 10) {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, base);
  return error == std::errc{} && end == text.data() + text.size();
}

bool read_value(std::span<const std::string_view> values, Value& value) {
  if (!read_number(values[0], value.type)) return false;
  if (values[1] == "number") {
    std::uint32_t number = 0;
    if (!read_number(values[2], number)) return false;
    for (int shift = 24; shift >= 0; shift -= 8) value.bytes += static_cast<char>(number >> shift);
    return true;
  }
  if (values[1] == "text") {
    value.bytes = values[2];
    value.bytes += '\0';
    return true;
  }
  if (values[1] != "hex") return false;
  auto bytes = from_hex(values[2]);
  if (bytes) value.bytes = std::move(*bytes);
  return bytes.has_value();
}

bool read_path(std::string_view text, Oid& path) {
  auto oid = parse_oid(text);
  if (oid) path = std::move(*oid);
  return oid.has_value();
}

}  // namespace

std::string to_line(const Change& change) {
  const Form& form = *std::find_if(forms.begin(), forms.end(), [&](const Form& f) { return f.kind == change.kind; });
  std::string line(form.keyword);
  line += ':';
  switch (change.kind) {
    case Kind::add:
    case Kind::remove:
      line += name_values(change.component);
      break;
    case Kind::set:
      line += name_values(change.component) + '\t' + oid_text(change.path) + value_values(change.value);
      break;
    case Kind::unset:
      line += name_values(change.component) + '\t' + oid_text(change.path);
      break;
    case Kind::relate:
    case Kind::unrelate:
      line += '\t' + change.relation.name + name_values(change.relation.from) + name_values(change.relation.to);
      break;
  }
  return line + '\n';
}

std::optional<Change> from_values(std::string_view keyword, std::span<const std::string_view> values) {
  const auto form = std::find_if(forms.begin(), forms.end(), [&](const Form& f) { return f.keyword == keyword; });
  if (form == forms.end() || values.size() != form->values) return std::nullopt;
  Change change;
  change.kind = form->kind;
  if (form->kind == Kind::relate || form->kind == Kind::unrelate) {
    change.relation.name = values[0];
    const bool read =
        read_name(values[1], values[2], change.relation.from) && read_name(values[3], values[4], change.relation.to);
    return read ? std::optional(std::move(change)) : std::nullopt;
  }
  if (!read_name(values[0], values[1], change.component)) return std::nullopt;
  if (form->kind == Kind::add || form->kind == Kind::remove) return change;
  if (!read_path(values[2], change.path)) return std::nullopt;
  if (form->kind == Kind::set && !read_value(values.subspan(3), change.value)) return std::nullopt;
  return change;
}

std::string commit_line(std::string_view batch) {
  std::string line(commit_keyword);
  line += ":\t";
  std::string number(sizeof(std::uint32_t), '\0');
  const std::uint32_t sum = checksum(batch);
  for (std::size_t i = 0; i < number.size(); ++i) number[i] = static_cast<char>(sum >> (24 - 8 * i));
  return line + hex(number) + '\n';
}

bool commits(std::span<const std::string_view> values, std::string_view batch) {
  std::uint32_t sum = 0;
  return values.size() == 1 && values[0].size() == 8 && read_number(values[0], sum, 16) && sum == checksum(batch);
}

}  // namespace ox::manager
