#include "access/wire.h"

#include <algorithm>
#include <cstring>

#include "common/bytes.h"

namespace ox {
namespace {

constexpr char header_marker[] = "pipeHeader";
constexpr char data_marker[] = "pipeData";
constexpr std::uint16_t protocol_version = 2;
constexpr std::size_t header_base = 49;  // the header without the destination name
constexpr std::size_t half_limit = 0xFFFF;

std::size_t text_size(const char* text) noexcept { return text != nullptr ? std::strlen(text) + 1 : 0; }

void put_header(Writer& out, const RequestHeader& header, std::size_t name_size, std::size_t data_part_size) {
  out.put(static_cast<std::uint32_t>(header_base + name_size));
  out.put(static_cast<std::uint16_t>(sizeof header_marker));
  out.put_bytes(header_marker, sizeof header_marker);
  out.put(static_cast<std::uint32_t>(data_part_size));
  out.put(protocol_version);
  out.put(static_cast<std::uint16_t>(header.type));
  out.put(static_cast<std::uint16_t>(header.command));
  out.put(static_cast<std::uint16_t>(header.error));
  out.put(std::uint16_t{0});
  out.put(std::uint16_t{0});
  out.put(header.source_id);
  out.put(header.destination_id);
  out.put(std::uint16_t{0});  // the sender has no name
  out.put(static_cast<std::uint16_t>(name_size));
  out.put_bytes(header.manager, name_size);
  out.put(header.reference);
}

bool take_name(Reader& in, std::span<const unsigned char>& name) noexcept {
  std::uint16_t size = 0;
  const unsigned char* bytes = nullptr;
  if (!in.take(size) || !in.take_bytes(size, bytes)) return false;
  name = {bytes, size};
  return true;
}

}  // namespace

PayloadPart PayloadPart::text(const char* text) noexcept { return {Kind::bytes_after_half, text, text_size(text)}; }

std::uint64_t PayloadPart::size() const noexcept {
  const std::uint64_t number = number_;
  switch (kind_) {
    case Kind::half:
      return 2;
    case Kind::word:
      return 4;
    case Kind::words:
      return 4 * number;
    case Kind::bytes:
      return number;
    case Kind::bytes_after_half:
      return 2 + number;
    case Kind::bytes_after_word:
      return 4 + number;
  }
  return 0;
}

bool PayloadPart::fits() const noexcept { return kind_ != Kind::bytes_after_half || number_ <= half_limit; }

void PayloadPart::write(Writer& out) const noexcept {
  switch (kind_) {
    case Kind::half:
      out.put(static_cast<std::uint16_t>(number_));
      return;
    case Kind::word:
      out.put(static_cast<std::uint32_t>(number_));
      return;
    case Kind::words:
      for (const std::uint32_t value : std::span(static_cast<const std::uint32_t*>(data_), number_)) out.put(value);
      return;
    case Kind::bytes:
      break;
    case Kind::bytes_after_half:
      out.put(static_cast<std::uint16_t>(number_));
      break;
    case Kind::bytes_after_word:
      out.put(static_cast<std::uint32_t>(number_));
      break;
  }
  out.put_bytes(data_, number_);
}

OX_RESULT Frame::lay_out(const RequestHeader& header, std::initializer_list<PayloadPart> payload) {
  const std::size_t name_size = text_size(header.manager);
  if (name_size > half_limit) return OX_EENCODEDLONG;
  std::uint64_t data_part = 0;
  for (const PayloadPart& part : payload) {
    if (!part.fits()) return OX_EENCODEDLONG;
    data_part += part.size();
  }
  if (data_part != 0) data_part += sizeof data_marker;
  const std::uint64_t total = header_base + name_size + data_part;
  if (total > UINT32_MAX) return OX_EENCODEDLONG;
  if (const OX_RESULT result = make_room(static_cast<std::size_t>(total), header_base + name_size)) return result;
  Writer out(begin(), size_);
  put_header(out, header, name_size, static_cast<std::size_t>(data_part));
  if (data_part != 0) out.put_bytes(data_marker, sizeof data_marker);
  for (const PayloadPart& part : payload) part.write(out);
  out.finish();
  return OX_OK;
}

OX_RESULT Frame::repeat(std::span<const unsigned char> laid_out) {
  std::uint32_t header_size = 0;
  if (!Reader(laid_out.data(), laid_out.size()).take(header_size) || header_size > laid_out.size()) return OX_EARG;
  if (const OX_RESULT result = make_room(laid_out.size(), header_size)) return result;
  std::memcpy(begin(), laid_out.data(), laid_out.size());
  return OX_OK;
}

OX_RESULT Frame::make_room(std::size_t size, std::size_t header_size) {
  large_.reset();
  if (size > small_.size()) {
    large_ = make_tracked_array<unsigned char>(static_cast<std::uint32_t>(size), "pipeData");
    if (!large_) return OX_ENOMEM;
  }
  size_ = size;
  header_size_ = header_size;
  return OX_OK;
}

std::uint32_t payload_of(std::uint32_t data_part) noexcept {
  return data_part - std::min<std::uint32_t>(data_part, sizeof data_marker);
}

OX_RESULT parse_received_header(std::span<const unsigned char> bytes, ReceivedHeader& header) noexcept {
  Reader in(bytes.data(), bytes.size());
  const bool whole = in.take(header.header_length) && in.take(header.data_length) && in.take(header.version) &&
                     in.take(header.type) && in.take(header.command) && in.take(header.error) &&
                     in.take(header.reserved1) && in.take(header.reserved2) && in.take(header.source_id) &&
                     in.take(header.destination_id) && take_name(in, header.source_name) &&
                     take_name(in, header.destination_name) && in.take(header.reference);
  return whole ? OX_OK : OX_ETRUNCATED;
}

}  // namespace ox
