#include "manager/series/books.h"

namespace ox::manager {
namespace {

struct Rule {
  const char* fault;  // what it means when some are counted
  const char* offenders;
};
// A segment on its way into blocks has runs of gaps already, and is in no entry's books yet.
constexpr Rule rules[]{
    {" data entries: what was due is not what is stored and what is a gap",
     "SELECT count(*) FROM entries WHERE state < 4 AND due != stored + gaps"},
    {" chunks lack cells",
     "SELECT count(*) FROM chunks WHERE cells != (SELECT coalesce(sum(cells), 0) FROM blocks "
     "WHERE blocks.id >= chunk << 24 AND blocks.id < (chunk + 1) << 24)"},
    {" data entries have gaps that the ledger lacks",
     "SELECT count(*) FROM entries WHERE state < 4 AND gaps > (SELECT coalesce(sum(cells), 0) FROM gaps "
     "WHERE gaps.id >= entries.id << 34 AND gaps.id < (entries.id + 1) << 34)"},
    {" data entries have lost values", "SELECT count(*) FROM entries WHERE lost != 0"},
};

}  // namespace

std::string check_books(Connection& connection, std::string& told) {
  for (const Rule& rule : rules) {
    if (const std::uint64_t count = connection.ask(rule.offenders)) return std::to_string(count) + rule.fault;
  }
  const auto sum = [&](const char* column) {
    return std::to_string(
        connection.ask(("SELECT coalesce(sum(" + std::string(column) + "), 0) FROM entries").c_str()));
  };
  told = "of the rounds in blocks " + sum("due") + " values were due, " + sum("stored") + " are stored, " +
         sum("gaps") + " are gaps with a reason";
  return {};
}

}  // namespace ox::manager
