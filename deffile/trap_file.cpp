#include "deffile/trap_file.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <iterator>

#include "common/ascii.h"
#include "common/number_text.h"
#include "common/paths.h"
#include "common/trace.h"
#include "deffile/entry_lines.h"

namespace ox {
namespace {

constexpr std::size_t line_limit = 1021;

// Identifiers of the bindings that carry a trap's time when the definition says only that there are such.
constexpr const char* default_time_stamp[] = {"1.3.6.1.4.1.64312.2.3.26.1.5.0", "1.3.6.1.4.1.64312.2.3.26.1.6.0"};

// A line as key and value, in place.
struct Line {
  char* key;
  char* value;
};

constexpr bool is_blank(char c) noexcept { return c == ' ' || c == '\t'; }

// The value is the rest of the line: texts hold blanks without being quoted. Quotes around all of it go.
OX_RESULT split(char* text, Line& line) noexcept {
  const auto skip_blanks = [](char* at) {
    while (is_blank(*at)) ++at;
    return at;
  };
  line.key = skip_blanks(text);
  char* end = line.key + std::strcspn(line.key, " \t");
  line.value = skip_blanks(end);
  *end = '\0';
  std::size_t size = std::strlen(line.value);
  while (size != 0 && is_blank(line.value[size - 1])) --size;
  line.value[size] = '\0';
  const char quote = line.value[0];
  if (quote != '"' && quote != '\'') return OX_OK;
  if (std::strchr(line.value + 1, quote) == nullptr) return OX_EQUOTE;
  if (line.value[size - 1] == quote) {
    line.value[size - 1] = '\0';
    ++line.value;
  }
  return OX_OK;
}

bool is_identifier(std::string_view text) noexcept {
  if (text.empty() || text.front() == '.' || text.back() == '.') return false;
  if (text.find("..") != std::string_view::npos) return false;
  return std::all_of(text.begin(), text.end(), [](char c) { return is_digit(c) || c == '.'; });
}

// ---- Fields ----

// Stores a value. A code for what is wrong with it; only OX_ENOMEM ends the reading.
using Store = OX_RESULT (*)(oxcTrTag& tag, char* value);

template <char* oxcTrTag::*field>
OX_RESULT store_text(oxcTrTag& tag, char* value) {
  return set_tag_text(tag.*field, value);
}

// A malformed number leaves the field as it was.
template <std::uint32_t oxcTrTag::*field, std::uint32_t oxcTrTag::*any>
OX_RESULT store_code(oxcTrTag& tag, char* value) {
  std::int32_t number = 0;
  const bool star = std::strcmp(value, "*") == 0;
  const OX_RESULT result = star ? OX_RESULT{OX_OK} : parse_signed(value, 0, number);
  if (result != OX_OK) return result;
  tag.*any = star ? 1 : 0;
  tag.*field = static_cast<std::uint32_t>(number);
  return OX_OK;
}

OX_RESULT store_severity(oxcTrTag& tag, char* value) {
  std::int32_t number = 0;
  const OX_RESULT result = parse_signed(value, 0, number);
  const bool known = result == OX_OK && number >= 1 && number <= 4;
  tag.severity = known ? static_cast<std::uint32_t>(number) : 1;
  return result != OX_OK || known ? result : OX_RESULT{OX_ERANGE};
}

OX_RESULT store_logging(oxcTrTag& tag, char* value) { return parse_signed(value, 0, tag.logging); }

OX_RESULT store_event_id(oxcTrTag& tag, char* value) {
  std::uint64_t number = 0;
  const OX_RESULT result = parse_unsigned(value, 0, UINT32_MAX, number);
  if (result == OX_OK) tag.eventId = static_cast<std::uint32_t>(number);
  return result;
}

OX_RESULT store_time_stamp(oxcTrTag& tag, char* value) {
  char* tokens[3];
  std::uint32_t count = 0;
  const OX_RESULT result = oxcToken(value, nullptr, tokens, 3, &count);
  if (result != OX_OK || count == 0 || tokens[0][0] != '1') return result;
  if (count == 2) return OX_EFORMAT;
  for (std::size_t i = 0; i < 2; ++i) {
    const OX_RESULT stored = set_tag_text(tag.timeStamp[i], count == 1 ? default_time_stamp[i] : tokens[i + 1]);
    if (stored != OX_OK) return stored;
  }
  return OX_OK;
}

// What a definition should not be without.
enum Given : unsigned { generic_given = 1, specific_given = 2, severity_given = 4 };

struct Field {
  std::string_view key;
  Store store;
  unsigned given = 0;
};

constexpr std::string_view first_key = "Enterprise";
constexpr std::array fields{
    Field{"GenericCode", store_code<&oxcTrTag::genericCode, &oxcTrTag::anyGeneric>, generic_given},
    Field{"SpecificCode", store_code<&oxcTrTag::specificCode, &oxcTrTag::anySpecific>, specific_given},
    Field{"Severity", store_severity, severity_given},
    Field{"Summary", store_text<&oxcTrTag::summary>},
    Field{"Detail", store_text<&oxcTrTag::detail>},
    Field{"Deal", store_text<&oxcTrTag::deal>},
    Field{"Logging", store_logging},
    Field{"Action", store_text<&oxcTrTag::action>},
    Field{"AlertType", store_text<&oxcTrTag::alertType>},
    Field{"TESKind", store_text<&oxcTrTag::kind>},
    Field{"Source", store_text<&oxcTrTag::source>},
    Field{"EventID", store_event_id},
    Field{"TimeStamp", store_time_stamp},
};
// Keys that say something about a definition to those who check it, not to the system.
constexpr std::string_view remarks[] = {"Sample", "Expect"};

// ---- The file ----

class TrapFile {
 public:
  TrapFile(const char* path, oxcTrConf& list, const TrapFaults& faults) : path_(path), list_(list), faults_(faults) {
    user_ = equal_no_case(file_name(path), "USER.DEF");
  }

  [[nodiscard]] OX_RESULT read(std::FILE* file) {
    while (read_line(file)) {
      const OX_RESULT result = take_line();
      if (result != OX_OK) return result;
    }
    finish();
    return OX_OK;
  }

 private:
  void fault(std::uint32_t line, OX_RESULT code, std::string_view subject) const {
    if (faults_.call != nullptr) faults_.call(faults_.argument, path_, line, code, std::string(subject).c_str());
  }

  // The rest of a line that is too long is dropped: read as a line of its own it could pass for another field.
  bool read_line(std::FILE* file) {
    if (!line_.read(file)) return false;
    if (line_.skip_rest(file)) fault(line_.number(), OX_ELINELONG, "");
    std::size_t size = line_.size();
    if (size != 0 && line_.text()[size - 1] == '\n') --size;
    if (size != 0 && line_.text()[size - 1] == '\r') --size;
    line_.text()[size] = '\0';
    return true;
  }

  // Only memory running out is a failure.
  [[nodiscard]] OX_RESULT take_line() {
    Line line{};
    const OX_RESULT result = split(line_.text(), line);
    if (result != OX_OK) {
      OX_TRACE(trace::platform, "<X:oxcTrToken([%d],%s,%s)>\n", result, line.key, line.value);
      if (line.key[0] != '#') fault(line_.number(), result, line.key);
      return OX_OK;
    }
    if (line.key == first_key) return begin(line.value);
    const auto* field = std::find_if(fields.begin(), fields.end(), [&](const Field& f) { return f.key == line.key; });
    if (field != fields.end() && tag_) return store(*field, line);
    const bool meant = line.key[0] != '\0' && line.key[0] != '#';
    const bool known = field != fields.end() || std::find(std::begin(remarks), std::end(remarks),
                                                          std::string_view(line.key)) != std::end(remarks);
    if (meant && !(known && tag_)) fault(line_.number(), known ? OX_ESYNTAX : OX_EKEYWORD, line.key);
    return OX_OK;
  }

  [[nodiscard]] OX_RESULT store(const Field& field, const Line& line) {
    const OX_RESULT result = field.store(*tag_, line.value);
    if (result == OX_ENOMEM) return result;
    if (result != OX_OK) fault(line_.number(), result, line.key);
    given_ |= field.given;
    return OX_OK;
  }

  [[nodiscard]] OX_RESULT begin(const char* enterprise) {
    finish();
    tag_ = make_tag();
    if (!tag_) return OX_ENOMEM;
    given_ = 0;
    tag_->severity = 1;
    tag_->logging = 1;  // an event that nobody finds in the log must be meant
    tag_->userDefined = user_ ? 1 : 0;
    tag_->line = line_.number();
    if (!is_identifier(enterprise)) fault(line_.number(), OX_EAMIBNAME, enterprise);
    const OX_RESULT result = set_tag_text(tag_->enterprise, enterprise);
    return result == OX_OK ? set_tag_text(tag_->file, path_) : result;
  }

  // The record in hand is complete.
  void finish() {
    if (!tag_) return;
    for (const Field& field : fields) {
      if ((field.given & ~given_) != 0) fault(tag_->line, OX_EMISSING, field.key);
    }
    list_.add(tag_);
  }

  const char* path_;
  oxcTrConf& list_;
  const TrapFaults& faults_;
  bool user_ = false;
  LineReader<line_limit + 1> line_;
  tag_ptr tag_;
  unsigned given_ = 0;
};

}  // namespace

OX_RESULT read_trap_file(const char* path, oxcTrConf& list, const TrapFaults& faults) {
  OX_TRACE(trace::platform, "<S:oxcTrReadConf(%s)>\n", path);
  const OwnedFile file = open_definition_file(path);
  const OX_RESULT result = guarded([&]() -> OX_RESULT {
    if (!file) return OX_EOPEN;
    return TrapFile(path, list, faults).read(file.get());
  });
  OX_TRACE(trace::platform, "<E:oxcTrReadConf([%d],%x)>\n", result, trace::word(list.first()));
  return result;
}

}  // namespace ox
