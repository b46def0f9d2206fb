// Data entries: reading one, and its fields.
#include <string>

#include "common/context.h"
#include "entries/data/data_entry.h"

namespace ox::entries {
namespace {

// What the two calls that make texts have handed out last, of the thread.
struct MadeTexts {
  std::string period;
  std::string title;
};

OX_RESULT open(const char* manager, const char* name, DataEntry** out) {
  if (name == nullptr || out == nullptr) return OX_EMISSING;
  if (const OX_RESULT result = check_name(name)) return result;
  data_entry_ptr record(make_tracked<DataEntry>("DataEntry_000").release());
  if (!record) return OX_ENOMEM;
  OX_RESULT result = field::assign(record->name, name);
  dnode_ptr answer;
  if (result == OX_OK) result = get(manager, {data_type, name}, "11.15", 0, data_seconds, answer);
  if (result == OX_OK) result = read_values(record.get(), data_rows, answer.get(), OX_OK);
  if (result == OX_OK) *out = record.release();
  return result;
}

OX_RESULT release(DataEntry* record) noexcept {
  if (record == nullptr) return OX_OK;
  clear_values(record, data_rows);
  return oxcMemFree(record);
}

// `make(text)` makes it; the buffer that was handed out before changes only when that succeeds.
template <class Make>
OX_RESULT give_text(const DataEntry* record, std::string MadeTexts::*buffer, const char** out, Make make) {
  if (record == nullptr || out == nullptr) return OX_EMISSING;
  std::string text;
  if (const OX_RESULT result = make(text)) return result;
  std::string& kept = context<MadeTexts>().*buffer;
  kept.swap(text);
  *out = kept.c_str();
  return OX_OK;
}

OX_RESULT make_title(const DataEntry& record, std::string& text) {
  std::string period;
  if (const OX_RESULT result = make_period_text(record, period)) return result;
  text = (record.title.text != nullptr ? record.title.text : "") + ('(' + period + ')');
  return OX_OK;
}

}  // namespace
}  // namespace ox::entries

using namespace ox;
using namespace ox::entries;

#define OPEN(name)                                                                                   \
  OX_RESULT OX_CALL name(const char* manager, const char* entry, DataEntry** record) {               \
    OX_DATA_START(#name, "%s,%s,%x", trace::text(manager), trace::text(entry), trace::word(record)); \
    return OX_DATA_CALL(#name, [&] { return open(manager, entry, record); });                        \
  }
OPEN(oxlDataEntryOpen)
OPEN(oxlGetDataEntry)

#define CLOSE(name)                                              \
  OX_RESULT OX_CALL name(DataEntry* record) {                    \
    OX_DATA_START(#name, "%x", trace::word(record));             \
    return OX_DATA_CALL(#name, [&] { return release(record); }); \
  }
CLOSE(oxlDataEntryClose)
CLOSE(oxlFreeDataEntry)

#define READ(kind, Stem, member, path)                                                               \
  OX_RESULT OX_CALL oxlDataEntryGet##Stem(const DataEntry* record, field::Access<kind>::Out value) { \
    OX_DATA_START("oxlDataEntryGet" #Stem, "%x,%x", trace::word(record), trace::word(value));        \
    return OX_DATA_CALL("oxlDataEntryGet" #Stem,                                                     \
                        [&] { return get_member(record, &DataEntry::member, value, OX_EMISSING); }); \
  }
#define MADE(kind, Stem, member, path)
OX_DATAENTRY_FIELDS(MADE, READ)
READ(Text, Name, name, )
READ(Text, EntryName, name, )

OX_RESULT OX_CALL oxlDataEntryGetPeriod(const DataEntry* record, const char** text) {
  OX_DATA_START("oxlDataEntryGetPeriod", "%x,%x", trace::word(record), trace::word(text));
  return OX_DATA_CALL("oxlDataEntryGetPeriod", [&] {
    return give_text(record, &MadeTexts::period, text,
                     [&](std::string& made) { return make_period_text(*record, made); });
  });
}

OX_RESULT OX_CALL oxlDataEntryGetTitle(const DataEntry* record, const char** text) {
  OX_DATA_START("oxlDataEntryGetTitle", "%x,%x", trace::word(record), trace::word(text));
  return OX_DATA_CALL("oxlDataEntryGetTitle", [&] {
    return give_text(record, &MadeTexts::title, text, [&](std::string& made) { return make_title(*record, made); });
  });
}
