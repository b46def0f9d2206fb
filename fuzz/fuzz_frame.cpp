// The manager's reader of requests: what it reads does not depend on how the stream is cut, and what is over the limit
// takes no memory. The first byte says how the stream is cut, the second the limit.
#include <algorithm>
#include <span>

#include "fuzz/target.h"
#include "manager/sessions/frame.h"

namespace {

using Result = ox::manager::FrameReader::Result;

std::string read(std::string_view stream, std::size_t step, std::size_t limit) {
  ox::manager::FrameReader reader(limit);
  ox::manager::Message message;
  std::string seen;
  for (; !stream.empty(); stream.remove_prefix(std::min(step, stream.size()))) {
    reader.append(std::as_bytes(std::span(stream.substr(0, step))));
    for (;;) {
      const Result result = reader.next(message);
      if (result == Result::broken) return seen + reader.fault();
      if (result == Result::incomplete) break;
      ox::fuzz::expect(message.data.size() <= limit && (message.refusal == 0 || message.data.empty()));
      seen += std::to_string(message.type) + ' ' + message.destination + ' ' + std::to_string(message.refusal) + ' ' +
              std::to_string(message.data.size()) + ';';
    }
  }
  return seen;
}

}  // namespace

void ox::fuzz::run(std::string_view input) {
  if (input.size() < 2) return;
  const std::size_t step = static_cast<unsigned char>(input[0]) + 1u;
  const std::size_t limit = static_cast<unsigned char>(input[1]) + 9u;
  input.remove_prefix(2);
  expect(read(input, step, limit) == read(input, input.size() + 1, limit));
}
