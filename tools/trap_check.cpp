// Checking trap definition files.
#include <cstdio>
#include <fstream>
#include <map>
#include <tuple>

#include "tools/library.h"
#include "tools/text.h"
#include "tools/trap_definitions.h"

namespace tool {
namespace {

bool replaces(const oxcTrTag& first, const oxcTrTag& other) { return first.userDefined != 0 && other.userDefined == 0; }

std::string coded(OX_RESULT code) { return "error " + std::to_string(code) + ": " + error_text(code); }

class Check {
 public:
  void fault(const std::string& place, const std::string& text) {
    say(stdout, "%s: %s\n", shown_path(place).c_str(), text.c_str());
    ++faults_;
  }
  [[nodiscard]] std::size_t faults() const { return faults_; }

  void read(const std::string& file, oxcTrConf* list) {
    const auto note = [](void* check, const char* path, uint32_t line, OX_RESULT code, const char* subject) {
      const std::string about = *subject != '\0' ? std::string(subject) + ": " : "";
      static_cast<Check*>(check)->fault(path + (":" + std::to_string(line)), about + coded(code));
    };
    const OX_RESULT result = oxcTrCheckFile(file.c_str(), note, this);
    if (result != OX_OK) return fault(file, coded(result));
    require(oxcTrMakeConfList(list, file.c_str()), file);
  }

  // Definitions for the same traps: only the first one is used. A user's own may stand before others: it is meant to.
  void find_hidden(const oxcTrConf* list) {
    std::map<std::tuple<std::string, uint64_t, uint64_t>, const oxcTrTag*> first;
    constexpr uint64_t any = ~uint64_t{0};
    for (const oxcTrTag* tag = oxcTrFirstTag(list); tag != nullptr; tag = tag->next) {
      const auto [known, made] = first.try_emplace({tag->enterprise, tag->anyGeneric != 0 ? any : tag->genericCode,
                                                    tag->anySpecific != 0 ? any : tag->specificCode},
                                                   tag);
      if (made || replaces(*known->second, *tag)) continue;
      fault(place_of(*tag), "never used: " + place_of(*known->second) + " stands before it");
    }
  }

  void try_samples(const std::string& file, const oxcTrConf* list);

 private:
  void try_sample(const std::string& place, const std::string& words, const oxcTrConf* list, const oxcTrTag* wanted,
                  std::string& detail);

  std::size_t faults_ = 0;
};

std::vector<std::string> words_of(std::string line) {
  constexpr uint32_t most = 256;
  char* tokens[most];
  uint32_t count = 0;
  require(oxcToken(line.data(), nullptr, tokens, most, &count), "sample");
  return {tokens, tokens + count};
}

// A sample's datagram: "hex 30...", or version, enterprise, numbers and bindings.
std::string datagram_of(const std::string& line) {
  const std::vector<std::string> words = words_of(line);
  if (words.size() == 2 && words[0] == "hex") return from_hex(words[1]);
  if (words.size() < 4 || (words[0] != "v1" && words[0] != "v2c")) {
    throw std::runtime_error("v1 or v2c, enterprise, generic and specific number, or hex and a datagram are needed");
  }
  Trap trap;
  trap.version = words[0] == "v1" ? OXS_V1 : OXS_V2C;
  trap.pduType = words[0] == "v1" ? OXS_TRAP : OXS_TRAP2;
  trap.set_enterprise(words[1]);
  const int64_t generic = generic_number(words[2]);
  if (generic < 0) throw Failure(words[2], OX_EFORMAT);
  trap.genericTrap = static_cast<uint32_t>(generic);
  require(oxcStrToUlong(words[3].c_str(), 0, &trap.specificTrap), words[3]);
  trap.add_bindings({words.begin() + 4, words.end()});
  return trap.encode();
}

void Check::try_sample(const std::string& place, const std::string& words, const oxcTrConf* list,
                       const oxcTrTag* wanted, std::string& detail) {
  try {
    Trap trap;
    decode_trap(datagram_of(words), trap);
    const oxcTrTag* found = definition_of(list, trap);
    detail = detail_of(*wanted, trap);
    if (found != wanted && !(found != nullptr && replaces(*found, *wanted))) {
      fault(place, "the sample finds " + (found != nullptr ? place_of(*found) : "no definition"));
    }
  } catch (const std::exception& error) {
    fault(place, message_of(error));
  }
}

// The value of a line with that key, cut as the library cuts it.
bool has_key(const std::string& line, const std::string& key, std::string& value) {
  const std::size_t start = line.find_first_not_of(" \t");
  if (start == std::string::npos || line.compare(start, key.size(), key) != 0) return false;
  const std::size_t rest = start + key.size();
  if (rest < line.size() && line[rest] != ' ' && line[rest] != '\t') return false;
  const std::size_t from = line.find_first_not_of(" \t", rest);
  const std::size_t to = line.find_last_not_of(" \t\r");
  value = from == std::string::npos || to < from ? "" : line.substr(from, to - from + 1);
  const bool quoted = value.size() > 1 && (value[0] == '"' || value[0] == '\'') && value.back() == value[0];
  if (quoted) value = value.substr(1, value.size() - 2);
  return true;
}

void Check::try_samples(const std::string& file, const oxcTrConf* list) {
  std::map<uint32_t, const oxcTrTag*> starts;
  for (const oxcTrTag* tag = oxcTrFirstTag(list); tag != nullptr; tag = tag->next) {
    if (file == tag->file) starts[tag->line] = tag;
  }
  std::ifstream lines(file);
  const oxcTrTag* tag = nullptr;
  std::string detail;
  std::string value;
  uint32_t number = 0;
  for (std::string line; std::getline(lines, line);) {
    const std::string place = file + ":" + std::to_string(++number);
    if (const auto start = starts.find(number); start != starts.end()) tag = start->second;
    if (tag == nullptr) continue;
    if (has_key(line, "Sample", value)) {
      try_sample(place, value, list, tag, detail);
    } else if (has_key(line, "Expect", value) && value != detail) {
      fault(place, "the sample's detail is: " + detail);
    }
  }
}

// The installation's files, in the order in which they are read.
std::vector<std::string> trap_files() {
  std::vector<std::string> files;
  for (const uint32_t kinds : {4u, 2u, 1u}) {
    for (const char* folder : {"/public/trap", "/public/alblock"}) {
      oxfFileList* list = nullptr;
      require(oxfGetFileList((oxcGetWorkdir() + std::string(folder)).c_str(), ".def", kinds, &list), folder);
      for (const oxfFileList* file = list; file != nullptr; file = oxfGetFileNext(file)) {
        files.emplace_back(oxfGetFileName(file));
      }
      (void)oxfFileListFree(list);
    }
  }
  return files;
}

}  // namespace

std::size_t check_definitions(std::vector<std::string> files) {
  if (files.empty()) files = trap_files();
  if (files.empty()) throw std::runtime_error(std::string(oxcGetWorkdir()) + "/public/trap: no definition files");
  const Definitions list(oxcTrAllocConf());
  Check check;
  for (const std::string& file : files) check.read(file, list.get());
  check.find_hidden(list.get());
  for (const std::string& file : files) check.try_samples(file, list.get());
  return check.faults();
}

}  // namespace tool
