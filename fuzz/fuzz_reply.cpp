// The reply parser, over a stream that ends where the input ends. The first byte says how the stream is cut.
#include <algorithm>
#include <cstring>

#include <oxbase/oxd.h>

#include "access/request.h"
#include "access/transport.h"
#include "fuzz/target.h"

namespace {

class Stream final : public ox::ByteSource {
 public:
  Stream(std::string_view rest, std::size_t step) : rest_(rest), step_(step) {}
  ox::platform::Error read_some(std::span<std::byte> into, std::size_t& got) noexcept override {
    got = std::min({into.size(), rest_.size(), step_});
    if (got == 0) return ox::platform::error_broken_pipe;
    std::memcpy(into.data(), rest_.data(), got);
    rest_.remove_prefix(got);
    return ox::platform::error_none;
  }

 private:
  std::string_view rest_;
  std::size_t step_;
};

}  // namespace

void ox::fuzz::run(std::string_view input) {
  if (input.empty()) return;
  Stream stream(input.substr(1), input[0] != 0 ? static_cast<unsigned char>(input[0]) : SIZE_MAX);
  ox::MessageReader reader(stream);
  ox::MessagePtr message;
  while (reader.receive(message) == OX_OK) {
    expect((message->data == nullptr) == (message->data_length == 0));
    for (const char* name : {message->source_name, message->destination_name}) {
      expect(name == nullptr || std::strlen(name) <= 65535);
    }
    dnode* list = nullptr;
    if (ox::decode_reply(*message, list) == OX_OK) (void)oxdFree(list);
  }
}
