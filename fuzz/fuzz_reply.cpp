// The reply parser, over a stream that ends where the input ends. The first byte says how the stream is cut.
#include <algorithm>
#include <cstdlib>
#include <cstring>

#include <oxbase/oxd.h>

#include "access/request.h"
#include "access/transport.h"

namespace {

class Stream final : public ox::ByteSource {
 public:
  Stream(const unsigned char* data, std::size_t size, std::size_t step) : data_(data), size_(size), step_(step) {}
  ox::platform::Error read_some(std::span<std::byte> into, std::size_t& got) noexcept override {
    got = std::min({into.size(), size_, step_});
    std::memcpy(into.data(), data_, got);
    data_ += got;
    size_ -= got;
    return got != 0 ? ox::platform::error_none : ox::platform::error_broken_pipe;
  }

 private:
  const unsigned char* data_;
  std::size_t size_;
  std::size_t step_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  if (size == 0) return 0;
  Stream stream(data + 1, size - 1, data[0] != 0 ? data[0] : SIZE_MAX);
  ox::MessageReader reader(stream);
  ox::MessagePtr message;
  while (reader.receive(message) == OX_OK) {
    if ((message->data == nullptr) != (message->data_length == 0)) std::abort();
    for (const char* name : {message->source_name, message->destination_name}) {
      if (name != nullptr && std::strlen(name) > 65535) std::abort();
    }
    dnode* list = nullptr;
    if (ox::decode_reply(*message, list) == OX_OK) (void)oxdFree(list);
  }
  return 0;
}
