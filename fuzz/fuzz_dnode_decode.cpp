// Any bytes as an encoded data node list: decoded, looked at in every way, encoded, and stable from then on.
#include <cstdlib>
#include <cstring>
#include <vector>

#include <oxbase/oxc.h>
#include <oxbase/oxd.h>

namespace {

struct Block {
  void* bytes = nullptr;
  uint32_t size = 0;
  Block() = default;
  Block(const Block&) = delete;
  Block& operator=(const Block&) = delete;
  ~Block() { oxcMemFree(bytes); }
};

void require(bool holds) {
  if (!holds) std::abort();
}

void walk(dnode* list) {
  for (dnode* node = list; node != nullptr; node = oxdNext(node)) {
    const char* text = nullptr;
    uint32_t number = 0;
    int32_t whole = 0;
    uint64_t wide = 0;
    oxIconLocation location{};
    for (const auto get : {oxdGetCompName, oxdGetCompType, oxdGetAmibName}) {
      if (get(node, &text) == OX_OK) require(std::strlen(text) < 65536);
    }
    for (const auto get : {oxdGetReqTime, oxdGetRspTime, oxdGetDnodeId, oxdGetErrCode, oxdGetValueByUlong}) {
      (void)get(node, &number);
    }
    (void)oxdGetAmibEntry(node, &number);
    (void)oxdGetValueByLong(node, &whole);
    (void)oxdGetValueByUlonglong(node, &wide);
    (void)oxdGetIconLocation(node, &location);
    require(oxdGetValueByStr(node) != nullptr && oxdGetValueByRawStr(node) != nullptr);
    require(oxdGetValueByCodeStr(node) != nullptr);
    require(oxdDnodeToStr("%C%T%AB%AN%AS%QD%QS%SN%30V%-30W\n", node) != nullptr);
    dnode* copy = oxdCopy(node);
    require(copy != nullptr && oxdGetValueSize(copy) == oxdGetValueSize(node));
    (void)oxdFree(copy);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::vector<uint8_t> exact(data, data + size);
  dnode* list = nullptr;
  if (oxdDecode(exact.data(), static_cast<uint32_t>(size), &list) == OX_OK && list != nullptr) {
    walk(list);
    Block once, twice;
    require(oxdEncode(list, &once.bytes, &once.size) == OX_OK);
    dnode* again = nullptr;
    require(oxdDecode(once.bytes, once.size, &again) == OX_OK);
    require(oxdEncode(again, &twice.bytes, &twice.size) == OX_OK);
    require(once.size == twice.size && std::memcmp(once.bytes, twice.bytes, once.size) == 0);
    (void)oxdFree(again);
    (void)oxdFree(list);
  }
  return 0;
}
