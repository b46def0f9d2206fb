// oxamib: the attribute tree.
#include <algorithm>
#include <cstdio>
#include <memory>
#include <nlohmann/json.hpp>

#include "common/code_page.h"
#include "tools/cli.h"
#include "tools/definitions.h"
#include "tools/rows.h"

namespace {

struct Words {
  const char* type;
  const char* access;
  const char* interface;
};

template <std::size_t N>
const char* word(const oxcKeyword (&table)[N], uint32_t value) {
  const char* text = nullptr;
  return oxcValueToStr(table, value, &text) == OX_OK ? text : "-";
}

const char* type_word(uint32_t type) {
  oxdType info{};
  return oxdTypeInfo(type, &info) == OX_OK && info.keyword != nullptr ? info.keyword : "-";
}

Words words_of(uint32_t node) {
  static const oxcKeyword accesses[] = {{"not-accessible", 0},
                                        {"read-only", OXB_READ},
                                        {"write-only", OXB_WRITE},
                                        {"read-write", OXB_READ_WRITE},
                                        {"accessible-for-notify", OXB_NOTIFY},
                                        {nullptr, 0}};
  static const oxcKeyword interfaces[] = {{"CONF-ACS", OXB_CONF},
                                          {"NULL-ACS", OXB_NIL},
                                          {"SNMP-ACS", OXB_SNMP},
                                          {"EMON-ACS", OXB_EMON},
                                          {"ICMP-ACS", OXB_ICMP},
                                          {"ICMPV6-ACS", OXB_ICMPV6},
                                          {nullptr, 0}};
  return {type_word(oxbAmibType(node)), word(accesses, oxbAccessControl(node)),
          word(interfaces, oxbAmibInterface(node))};
}

void print_node(uint32_t node, int depth, bool details) {
  tool::say(stdout, "%*s%s(%u)", 2 * depth, "", oxbName(node), oxbNumber(node));
  if (details || oxbIsLeaf(node) != 0) {
    const Words words = words_of(node);
    tool::say(stdout, "  %s %s %s", words.type, words.access, words.interface);
  }
  tool::say(stdout, "\n");
}

int print_tree(const std::string& path, bool details) {
  uint32_t top = 0;
  tool::require(oxbEntry(path.c_str(), &top), path);
  // Depth first, without recursion: the tree's depth is the definition files' affair.
  int depth = 0;
  for (uint32_t node = top; node != 0;) {
    print_node(node, depth, details);
    if (oxbChild(node) != 0) {
      node = oxbChild(node);
      ++depth;
      continue;
    }
    while (node != top && oxbNext(node) == 0) {
      node = oxbParent(node);
      --depth;
    }
    node = node == top ? 0 : oxbNext(node);
  }
  return tool::exit_ok;
}

int convert(const std::vector<std::string>& paths, bool json) {
  nlohmann::json all = nlohmann::json::array();
  for (const std::string& path : paths) {
    const char* text = nullptr;
    tool::require(oxbNumName(path.c_str(), &text), path);
    const std::string numeric = text;
    tool::require(oxbStrName(path.c_str(), &text), path);
    const char* description = nullptr;
    if (oxbAmibToDesc(path.c_str(), &description) != OX_OK) description = "";
    if (json) {
      all.push_back({{"path", numeric}, {"name", text}, {"description", description}});
    } else {
      tool::say(stdout, "%s  %s%s%s\n", numeric.c_str(), text, *description != '\0' ? "  " : "", description);
    }
  }
  if (json) std::puts(tool::json_text(all, 2).c_str());
  return tool::exit_ok;
}

int expand(const std::string& pattern) {
  constexpr uint32_t capacity = 4096;
  std::vector<char*> results(capacity);
  uint32_t count = 0;
  tool::require(oxbDeploy(pattern.c_str(), &count, results.data(), capacity), pattern);
  for (uint32_t i = 0; i < count; ++i) {
    tool::print(stdout, results[i] + std::string("\n"));
    (void)oxcMemFree(results[i]);
  }
  return tool::exit_ok;
}

std::string name_of(const std::string& path) {
  return path.substr(ox::CodePage(ox::platform::own_code_page()).last_name(path));
}

bool is_text_file(const std::string& path) { return path.ends_with(".enm") || path.ends_with(".dsc"); }

// The files to be checked and what they need: those of the installation, save for one that a given file of the same
// name is to take the place of.
std::vector<std::string> beside_installation(const std::vector<std::string>& files) {
  std::vector<std::string> all;
  if (*oxcGetWorkdir() != '\0') all = tool::definition_files();
  for (const std::string& file : files) {
    std::erase_if(all, [&](const std::string& installed) { return name_of(installed) == name_of(file); });
  }
  for (const std::string& file : files) {
    if (!is_text_file(file)) all.push_back(file);
  }
  return all;
}

// Without names, the whole installation. A fault of a file that was not named is no fault of those that were.
int check(const std::vector<std::string>& files) {
  int result = tool::exit_ok;
  const tool::Fault fault = [&](const std::string& file, uint32_t line, OX_RESULT code, const std::string& subject) {
    const bool asked = files.empty() || std::find(files.begin(), files.end(), file) != files.end();
    tool::say(asked ? stdout : stderr, "%s\n", tool::fault_line(file, line, code, subject).c_str());
    if (asked) result = tool::exit_failed;
  };
  tool::load_tree(files.empty() ? tool::definition_files() : beside_installation(files), fault);
  uint32_t root = 0;
  if (oxbEntry("", &root) != OX_OK) return result;  // nothing to look up the texts' paths in
  if (files.empty()) tool::check_texts(nullptr, fault);
  for (const std::string& file : files) {
    if (is_text_file(file)) tool::check_texts(file.c_str(), fault);
  }
  return result;
}

int show_enumeration(const std::string& path) {
  int32_t value = 0;
  const char* text = nullptr;
  uint32_t count = 0;
  OX_RESULT code = OX_OK;
  while ((code = oxbEnumItem(path.c_str(), count, &value, &text)) == OX_OK) {
    tool::print(stdout, text + std::string("\n"));
    ++count;
  }
  if (count == 0) tool::require(code, path);
  return tool::exit_ok;
}

}  // namespace

int main(int argc, char** argv) {
  tool::Command app("The attribute tree: names, numbers, definition files.", "oxamib");
  app.require_subcommand();
  std::string path;
  std::string pattern;
  std::string enumerated;
  std::vector<std::string> paths;
  std::vector<std::string> files;
  bool details = false;
  bool json = false;

  tool::Command tree = app.add_subcommand("tree", "print the tree, or what is below a path");
  tree.add_option("path", path, "where to begin");
  tree.add_flag("-l,--long", details, "type, access and interface of inner nodes too");
  tool::Command name = app.add_subcommand("name", "numeric path, name and description of paths");
  name.add_option("paths", paths, "names or numbers, also mixed").required();
  name.add_flag("-j,--json", json, "JSON for machines");
  tool::Command deploy = app.add_subcommand("expand", "expand the braces of a pattern");
  deploy.add_option("pattern", pattern, "such as 'system.{sysName,sysDescr}.0'").required();
  tool::Command checker = app.add_subcommand("check", "check definition files; faults as file:line: text");
  checker.add_option(
      "files", files,
      "*.def, *.enm, *.dsc, in any order, as if they stood in the installation (default: all of its own)");
  tool::Command enumeration = app.add_subcommand("enum", "the names of an attribute's values");
  enumeration.add_option("path", enumerated, "the attribute").required();
  app.footer(
      "The manager's tree is used when it runs, else the installation's files are loaded.\n"
      "Examples:\n"
      "  oxamib tree .system\n"
      "  oxamib name .1.1.0 obj.cmn.cmnName.0\n"
      "  oxamib check my.def\n"
      "  oxamib enum .interfaces.ifTable.ifEntry.ifOperStatus\n"
      "Exit code: 0 done, 1 an error or a fault in a file, 2 usage.");
  return tool::run(app, tool::arguments(argc, argv), [&] {
    if (deploy.parsed()) return expand(pattern);
    if (checker.parsed()) return check(tool::system_paths(files));
    tool::attach_tree();
    if (tree.parsed()) return print_tree(path, details);
    if (name.parsed()) return convert(paths, json);
    return show_enumeration(enumerated);
  });
}
