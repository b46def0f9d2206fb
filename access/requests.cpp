#include <span>

#include <oxbase/oxa.h>
#include <oxbase/oxc.h>

#include "access/request.h"
#include "access/session.h"
#include "common/bytes.h"
#include "common/memory.h"
#include "common/trace.h"
#include "data/dnode.h"

namespace ox {

OX_RESULT exchange(const RequestHeader& header, std::initializer_list<PayloadPart> payload, MessagePtr& reply) {
  Frame frame;
  if (const OX_RESULT result = frame.lay_out(header, payload)) return result;
  return session().exchange(frame, reply);
}

OX_RESULT decode_reply(const Message& reply, dnode*& list) {
  list = nullptr;
  return reply.data_length != 0 ? oxdDecode(reply.data, reply.data_length, &list) : OX_RESULT{OX_OK};
}

namespace {

// An encoded list; no bytes for a null list.
struct EncodedList {
  tracked_ptr<unsigned char[]> bytes;
  std::uint32_t size = 0;

  [[nodiscard]] OX_RESULT encode(const dnode* list) {
    void* block = nullptr;
    const OX_RESULT result = oxdEncode(list, &block, &size);
    bytes.reset(static_cast<unsigned char*>(block));
    return result;
  }
};

bool has_request_time(const dnode* list) {
  for (const dnode* node = list; node != nullptr; node = oxdNext(node)) {
    std::uint32_t seconds = 0;
    if (oxdGetReqTime(node, &seconds) == OX_OK && seconds != 0) return true;
  }
  return false;
}

}  // namespace

OX_RESULT lay_out_get(Frame& frame, const RequestHeader& header, const char* component, const char* amib_name,
                      const oxaSelection* selection, std::uint32_t options, std::uint32_t limit) {
  if (const OX_RESULT result = session().check()) return result;
  if (component == nullptr || amib_name == nullptr) return OX_EFORMAT;
  const std::span<const std::uint32_t> words =
      selection != nullptr ? std::span<const std::uint32_t>(selection->word) : std::span<const std::uint32_t>();
  return frame.lay_out(
      header, {PayloadPart::text(component), PayloadPart::text(amib_name), PayloadPart::word(options),
               PayloadPart::word(limit), PayloadPart::half(selection != nullptr ? 1 : 0), PayloadPart::words(words)});
}

OX_RESULT lay_out_set(Frame& frame, const RequestHeader& header, std::uint32_t first, std::uint32_t second,
                      const dnode* list) {
  constexpr std::uint32_t list_limit = 65536;
  if (const OX_RESULT result = session().check()) return result;
  if (has_request_time(list)) return OX_EREQTIME;
  EncodedList encoded;
  if (const OX_RESULT failure = encoded.encode(list)) return failure;
  if (encoded.size >= list_limit) return OX_EENCODEDLONG;
  return frame.lay_out(header, {PayloadPart::word(first), PayloadPart::word(second),
                                PayloadPart::bytes_after_half(encoded.bytes.get(), encoded.size)});
}

namespace {

// For requests whose answer is their result alone.
OX_RESULT request(const RequestHeader& header, std::initializer_list<PayloadPart> payload) {
  MessagePtr reply;
  const OX_RESULT result = exchange(header, payload, reply);
  return result != OX_OK ? result : reply->error;
}

// For those that may answer with a list.
OX_RESULT result_of(const Message& reply, dnode** list) {
  if (list != nullptr) {
    if (const OX_RESULT result = decode_reply(reply, *list)) return result;
  }
  return reply.error;
}

// What a caller sees of an answer: with nodes, each may carry its own error, and 121 says "look there"; without,
// success means that nothing was found.
OX_RESULT result_of_get(OX_RESULT error, bool nodes) noexcept {
  if (!nodes) return error == OX_OK ? OX_RESULT{OX_ENOTFOUND} : error;
  return error == OX_OK || error == OX_ENOTFOUND ? OX_OK : OX_ENODES;
}

OX_RESULT get(const char* manager, const char* component, const char* amib_name, const oxaSelection* selection,
              std::uint32_t options, std::uint32_t limit, dnode** list) {
  Frame frame;
  MessagePtr reply;
  OX_RESULT sent =
      lay_out_get(frame, {.command = command_get, .manager = manager}, component, amib_name, selection, options, limit);
  if (sent == OX_OK) sent = session().exchange(frame, reply);
  if (sent != OX_OK) return sent;
  dnode* decoded = nullptr;
  if (const OX_RESULT result = decode_reply(*reply, decoded)) return result;
  data::dnode_ptr nodes(decoded);
  const OX_RESULT result = result_of_get(reply->error, nodes != nullptr);
  if (list != nullptr && nodes) *list = nodes.release();
  return result;
}

OX_RESULT set(const char* manager, std::uint32_t first, std::uint32_t second, const dnode* list, dnode** result) {
  if (result != nullptr) *result = nullptr;
  Frame frame;
  MessagePtr reply;
  OX_RESULT sent = lay_out_set(frame, {.command = command_set, .manager = manager}, first, second, list);
  if (sent == OX_OK) sent = session().exchange(frame, reply);
  if (sent != OX_OK) return sent;
  return result_of(*reply, result);
}

OX_RESULT management(const char* manager, std::uint32_t code, const dnode* list, dnode** result) {
  if (result != nullptr) *result = nullptr;
  if (const OX_RESULT failure = session().check()) return failure;
  if (code > 0xFFFF) return OX_EARG;  // it travels in the error field
  EncodedList encoded;
  if (const OX_RESULT failure = encoded.encode(list)) return failure;
  MessagePtr reply;
  const OX_RESULT sent = exchange({.command = command_management, .manager = manager, .error = code},
                                  {PayloadPart::bytes(encoded.bytes.get(), encoded.size)}, reply);
  return sent != OX_OK ? sent : result_of(*reply, result);
}

OX_RESULT lock(const char* manager, const char* component, std::uint32_t argument, std::uint32_t* lock_id) {
  if (const OX_RESULT result = session().check()) return result;
  if (component == nullptr) return OX_EFORMAT;
  if (lock_id == nullptr) return OX_EARG;
  MessagePtr reply;
  const OX_RESULT result = exchange({.command = command_lock, .manager = manager},
                                    {PayloadPart::text(component), PayloadPart::word(argument)}, reply);
  if (result != OX_OK) return result;
  if (reply->error == OX_OK) *lock_id = reply->source_id;
  return reply->error;
}

OX_RESULT unlock(const char* manager, std::uint32_t lock_id) {
  return request({.type = type_unlock, .command = command_lock, .manager = manager, .destination_id = lock_id}, {});
}

OX_RESULT append(const char* manager, std::uint32_t first, std::uint32_t second, const char* text1, const char* text2,
                 const dnode* list) {
  if (const OX_RESULT result = session().check()) return result;
  if (text1 == nullptr || text2 == nullptr) return OX_EFORMAT;
  EncodedList encoded;
  if (const OX_RESULT failure = encoded.encode(list)) return failure;
  return request({.command = command_data_append, .manager = manager},
                 {PayloadPart::word(first), PayloadPart::word(second), PayloadPart::text(text1),
                  PayloadPart::text(text2), PayloadPart::bytes_after_word(encoded.bytes.get(), encoded.size)});
}

OX_RESULT data_size(const char* manager, const char* text1, const char* text2, std::uint32_t* size) {
  if (const OX_RESULT result = session().check()) return result;
  if (text1 == nullptr || text2 == nullptr) return OX_EFORMAT;
  if (size == nullptr) return OX_EARG;
  MessagePtr reply;
  const OX_RESULT result = exchange({.command = command_data_size, .manager = manager},
                                    {PayloadPart::text(text1), PayloadPart::text(text2)}, reply);
  if (result != OX_OK) return result;
  if (reply->error != OX_OK) return reply->error;
  return Reader(reply->data, reply->data_length).take(*size) ? OX_OK : OX_ETRUNCATED;
}

}  // namespace
}  // namespace ox

using namespace ox;

OX_RESULT OX_CALL oxaGet(const char* manager, const char* component, const char* amibName,
                         const oxaSelection* selection, uint32_t options, uint32_t limit, dnode** list) {
  OX_TRACE(trace::messages, "<S:oxaGet(%s,%s,%s,%x,%x,%d,%x)>\n", trace::text(manager), trace::text(component),
           trace::text(amibName), trace::word(selection), options, static_cast<int>(limit), trace::word(list));
  return traced_as(trace::messages, "<E:oxaGet[%ld]>\n",
                   [&] { return get(manager, component, amibName, selection, options, limit, list); });
}

OX_RESULT OX_CALL oxaSet(const char* manager, uint32_t first, uint32_t second, const dnode* list, dnode** result) {
  OX_TRACE(trace::messages, "<S:oxaSet(%s,%d,%x)>\n", trace::text(manager), static_cast<int>(first), trace::word(list));
  return traced_as(trace::messages, "<E:oxaSet:[%d]>\n", [&] { return set(manager, first, second, list, result); });
}

OX_RESULT OX_CALL oxaMgmtControl(const char* manager, uint32_t code, const dnode* list, dnode** result) {
  OX_TRACE(trace::messages, "<S:oxaMgmtControl:%s:%d:%x:%x>\n", trace::text(manager), static_cast<int>(code),
           trace::word(list), trace::word(result));
  return traced_as(trace::messages, "<E:oxaMgmtControl:[%d]>\n",
                   [&] { return management(manager, code, list, result); });
}

OX_RESULT OX_CALL oxaCompLock(const char* manager, const char* component, uint32_t argument, uint32_t* lockId) {
  OX_TRACE(trace::messages, "<S:oxaCompLock:%s:%s:%d:%x>\n", trace::text(manager), trace::text(component),
           static_cast<int>(argument), trace::word(lockId));
  return traced_as(trace::messages, "<E:oxaCompLock:[%d]>\n",
                   [&] { return lock(manager, component, argument, lockId); });
}

OX_RESULT OX_CALL oxaCompUnlock(uint32_t lockId) {
  OX_TRACE(trace::messages, "<S:oxaCompUnlock:%x>\n", lockId);
  return traced_as(trace::messages, "<E:oxaCompUnlock:[%d]>\n", [&] { return unlock(nullptr, lockId); });
}

OX_RESULT OX_CALL oxaCompUnlock2(uint32_t lockId, const char* manager) {
  OX_TRACE(trace::messages, "<S:oxaCompUnlock2:%x:%s>\n", lockId, trace::text(manager));
  return traced_as(trace::messages, "<E:oxaCompUnlock2:[%d]>\n", [&] { return unlock(manager, lockId); });
}

OX_RESULT OX_CALL oxaDataAppend(const char* manager, uint32_t first, uint32_t second, const char* text1,
                                const char* text2, const dnode* list) {
  OX_TRACE(trace::messages, "<S:oxaDataAppend:%s:%d:%d:%s:%s:%x>\n", trace::text(manager), static_cast<int>(first),
           static_cast<int>(second), trace::text(text1), trace::text(text2), trace::word(list));
  return traced_as(trace::messages, "<E:oxaDataAppend:[%d]>\n",
                   [&] { return append(manager, first, second, text1, text2, list); });
}

OX_RESULT OX_CALL oxaDataGetSize(const char* manager, const char* text1, const char* text2, uint32_t* size) {
  OX_TRACE(trace::messages, "<S:oxaDataGetSize:%s:%s:%s:%x>\n", trace::text(manager), trace::text(text1),
           trace::text(text2), trace::word(size));
  return traced_as(trace::messages, "<E:oxaDataGetSize:[%d]>\n",
                   [&] { return data_size(manager, text1, text2, size); });
}
