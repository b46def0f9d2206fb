// The detail text of one trap.
#include <charconv>
#include <cstring>
#include <string>
#include <string_view>

#include <oxbase/oxb.h>
#include <oxbase/oxc.h>
#include <oxbase/oxd.h>

#include "common/memory.h"
#include "common/trace.h"

namespace ox {
namespace {

constexpr std::string_view opening = "*%";
constexpr char separator[] = ", ";

std::string path_of(const dnode* node) {
  const char* path = nullptr;
  return oxdGetAmibName(node, &path) == OX_OK ? path : "";
}

// The label of the attribute and its instance, "ifIndex.3"; the identifier where the tree knows no name.
std::string leaf_of(const dnode* node) {
  std::string path = path_of(node);
  const char* text = nullptr;
  if (oxbStrName(path.c_str(), &text) != OX_OK) return path;
  std::string_view name = text;
  std::size_t at = name.size();
  while (at != 0 && (name[at - 1] == '.' || (name[at - 1] >= '0' && name[at - 1] <= '9'))) --at;
  if (at == 0) return path;
  const std::size_t dot = name.rfind('.', at - 1);
  return std::string(dot == std::string_view::npos ? name : name.substr(dot + 1));
}

std::string nothing(const dnode*) { return {}; }

void append_all(std::string& text, dnode* list, std::string (*label)(const dnode*)) {
  for (dnode* node = list; node != nullptr; node = oxdNext(node)) {
    if (node != list) text += separator;
    const std::string name = label(node);
    if (!name.empty()) text += name + "=";
    text += oxdGetValueByStr(node);
  }
}

void append_one(std::string& text, dnode* list, std::uint32_t number) {
  dnode* node = list;
  while (node != nullptr && --number != 0) node = oxdNext(node);
  if (node != nullptr) text += oxdGetValueByStr(node);
}

// Whether the word between "*%" and "*" stands for something.
bool append(std::string& text, std::string_view word, dnode* list) {
  std::uint32_t number = 0;
  const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), number);
  if (word == "all") {
    append_all(text, list, nothing);
  } else if (word == "allleaf") {
    append_all(text, list, leaf_of);
  } else if (word == "allnum") {
    append_all(text, list, path_of);
  } else if (error == std::errc{} && end == word.data() + word.size() && number != 0) {
    append_one(text, list, number);
  } else {
    return false;
  }
  return true;
}

std::string make_detail(std::string_view format, dnode* list) {
  std::string text;
  for (;;) {
    const std::size_t start = format.find(opening);
    if (start == std::string_view::npos) return text.append(format);
    const std::size_t word = start + opening.size();
    const std::size_t end = format.find('*', word);
    text.append(format.substr(0, start));
    if (end != std::string_view::npos && append(text, format.substr(word, end - word), list)) {
      format.remove_prefix(end + 1);
    } else {
      text += opening;
      format.remove_prefix(word);
    }
  }
}

OX_RESULT remake_detail(const oxcTrTag* tag, dnode* bindings, char** detail) {
  if (tag == nullptr || detail == nullptr) return OX_EARG;
  auto copy = copy_text(make_detail(tag->detail != nullptr ? tag->detail : "", bindings).c_str(), "trap_detail");
  if (!copy) return OX_ENOMEM;
  *detail = copy.release();
  return OX_OK;
}

}  // namespace
}  // namespace ox

OX_RESULT OX_CALL oxcTrReMakeDetail(const oxcTrTag* tag, struct dnode* bindings, char** detail) {
  OX_ENTRY("oxcTrReMakeDetail", ":%x:%x", ox::trace::word(tag), ox::trace::word(bindings));
  return ox::traced("oxcTrReMakeDetail", [&] { return ox::remake_detail(tag, bindings, detail); });
}
