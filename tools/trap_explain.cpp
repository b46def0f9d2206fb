// Why a trap is what the definitions make of it.
#include <algorithm>
#include <cstdio>
#include <cstring>

#include "tools/library.h"
#include "tools/text.h"
#include "tools/trap_definitions.h"

namespace tool {
namespace {

constexpr char standard_enterprise[] = "1.3.6.1.6.3.1.1.5";
constexpr std::size_t most_shown = 5;

bool generic_fits(const oxcTrTag& tag, const Trap& trap) {
  return tag.anyGeneric != 0 || tag.genericCode == trap.genericTrap;
}
bool specific_fits(const oxcTrTag& tag, const Trap& trap) {
  return tag.anySpecific != 0 || tag.specificCode == trap.specificTrap;
}
std::string code(uint32_t number, uint32_t any) { return any != 0 ? "*" : std::to_string(number); }

std::string numbers(const oxcTrTag& tag) {
  return "generic " + code(tag.genericCode, tag.anyGeneric) + ", specific " + code(tag.specificCode, tag.anySpecific);
}

void print_near(const char* what, const oxcTrTag& tag, const std::string& why) {
  say(stdout, "%-12s %s: %s (%s): %s\n", what, place_of(tag).c_str(), tag.summary != nullptr ? tag.summary : "",
      numbers(tag).c_str(), why.c_str());
}

bool is_above(const std::string& upper, const std::string& lower) {
  return lower.size() > upper.size() && lower.compare(0, upper.size(), upper) == 0 && lower[upper.size()] == '.';
}

// Why a definition was not the one, and how far off it is: 0 it would have fitted too, larger is farther, and nothing
// for one that has nothing to do with the trap.
struct Miss {
  int distance;
  std::string why;
};
Miss miss_of(const oxcTrTag& tag, const Trap& trap, const std::string& enterprise) {
  const std::string defined = tag.enterprise;
  const bool both = generic_fits(tag, trap) && specific_fits(tag, trap);
  if (defined == enterprise) {
    if (both) return {0, "fits too, but stands behind"};
    if (generic_fits(tag, trap)) return {1, "the specific number is " + std::to_string(trap.specificTrap)};
    if (specific_fits(tag, trap)) return {2, "the generic number is " + std::to_string(trap.genericTrap)};
    return {5, "the generic number is " + std::to_string(trap.genericTrap) + ", the specific one " +
                   std::to_string(trap.specificTrap)};
  }
  if (!both || defined.empty() || enterprise.empty()) return {-1, ""};
  if (defined == "." + enterprise || defined == enterprise + ".0") return {3, "its enterprise is written " + defined};
  if (is_above(defined, enterprise) && std::count(defined.begin(), defined.end(), '.') >= 6) {
    return {4, "its enterprise " + defined + " is above the trap's, and enterprises must be equal"};
  }
  if (is_above(enterprise, defined)) return {4, "its enterprise " + defined + " is below the trap's"};
  return {-1, ""};
}

void print_misses(const oxcTrConf* list, const Trap& trap, const oxcTrTag* found) {
  std::vector<std::pair<Miss, const oxcTrTag*>> misses;
  const std::string enterprise = trap.enterprise != nullptr ? trap.enterprise : "";
  for (const oxcTrTag* tag = oxcTrFirstTag(list); tag != nullptr; tag = tag->next) {
    if (tag == found) continue;
    Miss miss = miss_of(*tag, trap, enterprise);
    if (miss.distance >= 0) misses.emplace_back(std::move(miss), tag);
  }
  std::stable_sort(misses.begin(), misses.end(),
                   [](const auto& a, const auto& b) { return a.first.distance < b.first.distance; });
  for (std::size_t i = 0; i < std::min(misses.size(), most_shown); ++i) {
    print_near("close", *misses[i].second, misses[i].first.why);
  }
  if (misses.size() > most_shown)
    say(stdout, "%-12s and %s more\n", "", std::to_string(misses.size() - most_shown).c_str());
}

void print_reason(const oxcTrTag& tag, const Trap& trap) {
  const bool own = std::strcmp(tag.enterprise, trap.enterprise) == 0;
  std::string why =
      own ? "the enterprise is equal"
          : std::string("a generic trap that its enterprise does not define; taken from ") + standard_enterprise;
  why += tag.anyGeneric != 0 ? ", any generic number fits" : ", the generic number is equal";
  why += tag.anySpecific != 0 ? ", any specific number fits" : ", the specific number is equal";
  print_near("matched", tag, why);
}

void print_definition(const Trap& trap, const std::string& datagram) {
  const bool standard = trap.genericTrap < 6;
  say(stdout, "Nothing defines it. To paste into USER.DEF:\n\n");
  say(stdout, "Enterprise\t%s\n", trap.enterprise);
  // The numbers of a file are signed.
  say(stdout, "GenericCode\t%d\nSpecificCode\t%s\n", static_cast<int32_t>(trap.genericTrap),
      standard ? "*" : std::to_string(static_cast<int32_t>(trap.specificTrap)).c_str());
  say(stdout, "Severity\t2\nSummary\t%s of %s\nDetail\t*%%allleaf*\nLogging\t1\n",
      standard ? generic_name(trap.genericTrap).c_str() : ("trap " + std::to_string(trap.specificTrap)).c_str(),
      trap.enterprise);
  constexpr std::size_t longest_sample = 1000;
  const std::string hex = hex_of(datagram);
  if (hex.size() < longest_sample) say(stdout, "Sample\thex %s\n", hex.c_str());
}

}  // namespace

Definitions read_definitions() {
  oxcTrConf* list = nullptr;
  require(oxcTrCreateList(&list), "trap definitions");
  return Definitions(list);
}

const oxcTrTag* definition_of(const oxcTrConf* list, const Trap& trap) {
  const oxcTrTag* tag = nullptr;
  const OX_RESULT result = oxcTrSearchTrap(list, trap.enterprise, trap.genericTrap, trap.specificTrap, &tag);
  if (result != OX_ENOTFOUND) require(result, "trap definitions");
  return tag;
}

void explain(const oxcTrConf* list, const Trap& trap, const std::string& datagram) {
  const oxcTrTag* tag = definition_of(list, trap);
  print_trap(trap, tag);
  say(stdout, "\n");
  if (tag != nullptr) print_reason(*tag, trap);
  print_misses(list, trap, tag);
  if (trap.enterprise == nullptr) {
    say(stdout, "It carries no identifier, so no definition can be for it.\n");
  } else if (tag == nullptr) {
    print_definition(trap, datagram);
  }
}

}  // namespace tool
