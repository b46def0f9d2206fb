// Any text as a value of any type: parsed, shown both ways and, where the raw text is a form that is read, read again.
#include <cstdlib>
#include <cstring>
#include <string>

#include <oxbase/oxc.h>
#include <oxbase/oxd.h>

namespace {

void require(bool holds) {
  if (!holds) std::abort();
}

bool read_again(uint32_t type, int32_t size) {
  switch (type) {
    case OX_INTEGER:
    case OX_COUNTER:
    case OX_GAUGE:
    case OX_TIMETICKS:
    case OX_IPADDRESS:
    case OX_NETWORKADDRESS:
    case OX_COUNTER64:
    case OX_IPXADDRESS:
    case OX_IPV6ADDRESS:
    case OX_IPV6PREFIX:
    case OX_IPV6IFID:
      return true;
    case OX_OCTETSTRING:
    case OX_PHYSADDRESS:
      return size > 0;  // "0x" is no hex text
    default:
      return false;
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  const uint32_t type = data[0] % 27;
  const std::string text(data + 1, data + size);
  dnode* node = oxdAlloc(1);
  require(node != nullptr);
  if (oxdSetValueByStr(node, type, text.c_str()) == OX_OK) {
    const int32_t stored = oxdGetValueSize(node);
    require(static_cast<uint32_t>(oxdGetValueType(node)) == type && stored >= 0);
    require(oxdGetValueByStr(node) != nullptr && oxdDnodeToStr(text.c_str(), node) != nullptr);
    const std::string raw = oxdGetValueByRawStr(node);
    if (type == OX_CODESTRING) require(std::strcmp(text.c_str(), oxdGetValueByCodeStr(node)) == 0);
    if (read_again(type, stored)) {
      dnode* again = oxdAlloc(1);
      require(oxdSetValueByStr(again, type, raw.c_str()) == OX_OK && oxdGetValueSize(again) == stored);
      require(std::memcmp(oxdGetValueValue(again), oxdGetValueValue(node), static_cast<size_t>(stored)) == 0);
      (void)oxdFree(again);
    }
  }
  (void)oxdSetAmibName(node, text.c_str());
  (void)oxdDnodeToStr(text.c_str(), node);
  (void)oxdFree(node);
  return 0;
}
