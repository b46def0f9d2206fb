// Any bytes as a filter: what is accepted can be used, goes out again, and is stable from then on.
#include <oxbase/oxe.h>

#include "fuzz/target.h"

namespace {

void use(const evflt* filter) {
  evmsg* list = oxeEvmsgAlloc();
  (void)oxeEvmsgSetSender(list, "abcabc");
  (void)oxeEvfltMatch(list, filter);
  oxeEvfltFirstLast(&list, filter);
  ox::fuzz::expect(list != nullptr);
  (void)oxeEvmsgFree(list);
}

}  // namespace

void ox::fuzz::run(std::string_view input) {
  const uint32_t blocks = oxcGetMemValue(1);
  evflt* filter = nullptr;
  if (oxeEvfltDecode(input.data(), static_cast<uint32_t>(input.size()), &filter) == OX_OK) {
    use(filter);
    stable(filter, oxeEvfltDecode, oxeEvfltEncode, oxeEvfltFree);
  } else {
    expect(filter == nullptr);
  }
  expect(oxcGetMemValue(1) == blocks);
}
