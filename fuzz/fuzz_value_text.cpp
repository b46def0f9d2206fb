// Any text as a value of any type: parsed, shown both ways and, where the raw text is a form that is read, read again.
#include <algorithm>
#include <iterator>

#include <oxbase/oxd.h>

#include "fuzz/target.h"

namespace {

bool read_again(uint32_t type, int32_t size) {
  constexpr uint32_t types[] = {OX_INTEGER,        OX_COUNTER,     OX_GAUGE,      OX_TIMETICKS,   OX_IPADDRESS,
                                OX_NETWORKADDRESS, OX_COUNTER64,   OX_IPXADDRESS, OX_IPV6ADDRESS, OX_IPV6PREFIX,
                                OX_IPV6IFID,       OX_OCTETSTRING, OX_PHYSADDRESS};
  return size > 0 && std::find(std::begin(types), std::end(types), type) != std::end(types);  // "0x" is no hex text
}

std::string_view stored(const dnode* node) {
  return {static_cast<const char*>(oxdGetValueValue(node)), static_cast<std::size_t>(oxdGetValueSize(node))};
}

}  // namespace

void ox::fuzz::run(std::string_view input) {
  if (input.empty()) return;
  const uint32_t type = static_cast<unsigned char>(input.front()) % 27;
  const std::string text(input.substr(1));
  dnode* node = oxdAlloc(2);
  dnode* again = oxdNext(node);
  if (oxdSetValueByStr(node, type, text.c_str()) == OX_OK) {
    expect(static_cast<uint32_t>(oxdGetValueType(node)) == type && oxdGetValueSize(node) >= 0);
    expect(oxdGetValueByStr(node) != nullptr && oxdDnodeToStr(text.c_str(), node) != nullptr);
    expect(type != OX_CODESTRING || text.c_str() == std::string_view(oxdGetValueByCodeStr(node)));
    const std::string raw = oxdGetValueByRawStr(node);
    if (read_again(type, oxdGetValueSize(node))) {
      expect(oxdSetValueByStr(again, type, raw.c_str()) == OX_OK && stored(again) == stored(node));
    }
  }
  (void)oxdSetAmibName(node, text.c_str());
  (void)oxdDnodeToStr(text.c_str(), node);
  (void)oxdFree(node);
}
