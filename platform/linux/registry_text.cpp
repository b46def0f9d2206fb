#include "platform/linux/registry_text.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <optional>

namespace ox::platform {
namespace {

constexpr std::string_view header = "Windows Registry Editor Version 5.00";
constexpr std::string_view old_header = "REGEDIT4";

char lower(char c) noexcept { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c; }

std::string_view trimmed(std::string_view text) noexcept {
  const auto first = text.find_first_not_of(" \t\r\n");
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(" \t\r\n") - first + 1);
}

void append_utf8(std::string& to, std::uint32_t code) {
  const auto byte = [&to](std::uint32_t value) { to += static_cast<char>(static_cast<unsigned char>(value)); };
  if (code < 0x80) return byte(code);
  if (code < 0x800) {
    byte(0xC0 | (code >> 6));
  } else if (code < 0x10000) {
    byte(0xE0 | (code >> 12));
    byte(0x80 | ((code >> 6) & 0x3F));
  } else {
    byte(0xF0 | (code >> 18));
    byte(0x80 | ((code >> 12) & 0x3F));
    byte(0x80 | ((code >> 6) & 0x3F));
  }
  byte(0x80 | (code & 0x3F));
}

std::string utf8_of_utf16(std::string_view bytes) {
  std::string text;
  const auto unit = [bytes](std::size_t at) -> std::uint32_t {
    return static_cast<unsigned char>(bytes[at]) |
           (static_cast<std::uint32_t>(static_cast<unsigned char>(bytes[at + 1])) << 8);
  };
  for (std::size_t at = 0; at + 1 < bytes.size(); at += 2) {
    std::uint32_t code = unit(at);
    if (code >= 0xD800 && code < 0xDC00 && at + 3 < bytes.size() && unit(at + 2) >= 0xDC00 && unit(at + 2) < 0xE000) {
      code = 0x10000 + ((code - 0xD800) << 10) + (unit(at + 2) - 0xDC00);
      at += 2;
    } else if (code >= 0xD800 && code < 0xE000) {
      code = 0xFFFD;  // half a pair
    }
    append_utf8(text, code);
  }
  return text;
}

std::string quoted(std::string_view text) {
  std::string out = "\"";
  for (const char c : text) {
    switch (c) {
      case '\\':
        out += "\\\\";
        break;
      case '"':
        out += "\\\"";
        break;
      case '\n':
        out += "\\n";
        break;  // the export format breaks the line here, which no line reader survives
      case '\r':
        out += "\\r";
        break;
      default:
        out += c;
    }
  }
  return out + '"';
}

// Takes a quoted text off the front.
std::optional<std::string> take_quoted(std::string_view& text) {
  if (text.empty() || text.front() != '"') return std::nullopt;
  std::string out;
  for (std::size_t at = 1; at < text.size(); ++at) {
    if (text[at] == '"') {
      text.remove_prefix(at + 1);
      return out;
    }
    if (text[at] != '\\') {
      out += text[at];
      continue;
    }
    if (++at == text.size()) return std::nullopt;
    switch (text[at]) {
      case '\\':
      case '"':
        out += text[at];
        break;
      case 'n':
        out += '\n';
        break;
      case 'r':
        out += '\r';
        break;
      default:
        return std::nullopt;
    }
  }
  return std::nullopt;
}

std::optional<RegistryValue> value_of(std::string_view text) {
  if (!text.empty() && text.front() == '"') {
    std::optional<std::string> value = take_quoted(text);
    if (!value || !trimmed(text).empty()) return std::nullopt;
    return RegistryValue(std::move(*value));
  }
  constexpr std::string_view dword = "dword:";
  if (text.substr(0, dword.size()) == dword) {
    text.remove_prefix(dword.size());
    std::uint32_t number = 0;
    const auto [rest, error] = std::from_chars(text.data(), text.data() + text.size(), number, 16);
    if (error != std::errc() || rest != text.data() + text.size()) return std::nullopt;
    return RegistryValue(number);
  }
  if (text.substr(0, 4) == "hex:" || text.substr(0, 4) == "hex(") return RegistryValue(OtherKind{});
  return std::nullopt;
}

std::string line_of(std::string_view name, const RegistryValue& value) {
  std::string line = name.empty() ? "@" : quoted(name);
  line += '=';
  if (const auto* text = std::get_if<std::string>(&value)) return line + quoted(*text) + "\n";
  char number[32];
  (void)std::snprintf(number, sizeof number, "dword:%08x\n", std::get<std::uint32_t>(value));
  return line + number;
}

// Lines with their ends. A value of the binary kinds goes on after a backslash at the end of a line.
std::vector<std::string> split_lines(std::string_view text) {
  std::vector<std::string> lines;
  bool continued = false;
  while (!text.empty()) {
    const std::string_view line = text.substr(0, std::min(text.find('\n'), text.size() - 1) + 1);
    text.remove_prefix(line.size());
    if (continued) {
      lines.back() += line;
    } else {
      lines.emplace_back(line);
    }
    const std::string_view content = trimmed(line);
    continued = content.ends_with('\\') && (continued || content.find("=hex") != std::string_view::npos);
  }
  return lines;
}

}  // namespace

bool NameLess::operator()(std::string_view left, std::string_view right) const noexcept {
  return std::lexicographical_compare(left.begin(), left.end(), right.begin(), right.end(),
                                      [](char a, char b) { return lower(a) < lower(b); });
}

RegistryText RegistryText::parse(std::string_view bytes) {
  RegistryText text;
  if (bytes.substr(0, 2) == "\xFF\xFE") {
    text.lines_ = split_lines(utf8_of_utf16(bytes.substr(2)));
  } else {
    text.lines_ = split_lines(bytes.substr(0, 3) == "\xEF\xBB\xBF" ? bytes.substr(3) : bytes);
  }
  text.index();
  return text;
}

void RegistryText::index() {
  keys_.clear();
  faults_.clear();
  auto section = keys_.end();
  std::size_t number = 1;
  for (std::size_t i = 0; i < lines_.size(); ++i) {
    read_line(i, number, section);
    number += static_cast<std::size_t>(std::count(lines_[i].begin(), lines_[i].end(), '\n'));
  }
}

void RegistryText::read_line(std::size_t index, std::size_t number, Keys::iterator& section) {
  std::string_view line = trimmed(lines_[index]);
  if (line.empty() || line.front() == ';' || line == header || line == old_header) return;
  const auto damaged = [&] { faults_.push_back({number, std::string(line.substr(0, 80))}); };
  if (line.front() == '[') {
    if (!read_section(line, index, section)) {
      section = keys_.end();  // values of an unreadable section belong to nobody
      damaged();
    }
    return;
  }
  std::string_view rest = line;
  std::optional<std::string> name;
  if (rest.front() == '@') {
    name.emplace();
    rest.remove_prefix(1);
  } else {
    name = take_quoted(rest);
  }
  rest = trimmed(rest);
  if (!name || rest.empty() || rest.front() != '=' || section == keys_.end()) return damaged();
  rest = trimmed(rest.substr(1));
  section->second.last_line = index;
  if (rest == "-") {  // the export format's way to say that the value is gone
    section->second.values.erase(*name);
    return;
  }
  std::optional<RegistryValue> value = value_of(rest);
  if (!value) return damaged();
  section->second.values.insert_or_assign(*name, Value{std::move(*value), index});
}

bool RegistryText::read_section(std::string_view line, std::size_t index, Keys::iterator& section) {
  if (line.size() < 3 || line.back() != ']') return false;
  std::string_view key = line.substr(1, line.size() - 2);
  if (key.front() == '-') {
    erase_key(key.substr(1));
    section = keys_.end();
    return true;
  }
  section = keys_.try_emplace(std::string(key), Key{{}, index}).first;
  section->second.last_line = index;
  return true;
}

void RegistryText::erase_key(std::string_view key) {
  const std::string below = std::string(key) + "\\";
  const NameLess less;
  std::erase_if(keys_, [&](const auto& entry) {
    const std::string_view name = entry.first;
    const auto same = [&](std::string_view left, std::string_view right) {
      return !less(left, right) && !less(right, left);
    };
    return same(name, key) || same(name.substr(0, below.size()), below);
  });
}

const RegistryValue* RegistryText::find(std::string_view key, std::string_view name) const {
  const auto section = keys_.find(key);
  if (section == keys_.end()) return nullptr;
  const auto value = section->second.values.find(name);
  return value != section->second.values.end() ? &value->second.value : nullptr;
}

bool RegistryText::has_key(std::string_view key) const {
  if (keys_.find(key) != keys_.end()) return true;
  const std::string below = std::string(key) + "\\";
  const auto next = keys_.lower_bound(below);
  return next != keys_.end() && !NameLess()(below, std::string_view(next->first).substr(0, below.size()));
}

void RegistryText::set(std::string_view key, std::string_view name, const RegistryValue& value) {
  const auto end_line = [this] {
    if (!lines_.empty() && !lines_.back().ends_with('\n')) lines_.back() += '\n';
  };
  const auto section = keys_.find(key);
  const auto insert = [this](std::size_t at, std::string line) {
    lines_.insert(lines_.begin() + static_cast<std::ptrdiff_t>(at), std::move(line));
  };
  if (section == keys_.end()) {
    end_line();
    if (lines_.empty()) lines_.push_back(std::string(header) + "\n");
    lines_.push_back("\n");
    lines_.push_back(std::string("[").append(key).append("]\n"));
    lines_.push_back(line_of(name, value));
  } else if (const auto old = section->second.values.find(name); old != section->second.values.end()) {
    lines_[old->second.line] = line_of(old->first, value);
  } else {
    end_line();
    insert(section->second.last_line + 1, line_of(name, value));
  }
  index();
}

std::string RegistryText::bytes() const {
  std::string all;
  for (const std::string& line : lines_) all += line;
  return all;
}

}  // namespace ox::platform
