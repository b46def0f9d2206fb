// Application data: reports for whoever in the process has asked for them.
#include <algorithm>
#include <cstring>
#include <utility>

#include <oxbase/oxa.h>

#include "access/callback.h"
#include "access/reports.h"
#include "common/trace.h"

namespace ox {
namespace {

constinit oxcApDataCallback receiver = nullptr;
constinit void* receiver_argument = nullptr;
constinit const Message* in_hand = nullptr;  // the report that the receiver is being called for

OX_RESULT read(void* buffer, std::uint32_t size, std::uint32_t* length) noexcept {
  if (length == nullptr || (buffer == nullptr && size != 0)) return OX_EARG;
  if (in_hand == nullptr) return OX_ENOTFOUND;
  const std::uint32_t part = std::min(size, in_hand->data_length);
  if (part != 0) std::memcpy(buffer, in_hand->data, part);
  *length = in_hand->data_length;
  return OX_OK;
}

}  // namespace

// Data that nobody wants are taken: the manager would send them for ever.
NextFetch on_application_data(MessagePtr report) {
  OX_RESULT refused = OX_OK;
  if (receiver != nullptr) {
    const Message* const outer = std::exchange(in_hand, report.get());  // a receiver may dispatch
    refused = run_callback("application data",
                           [&] { return receiver(receiver_argument, report->destination_id, report->error); });
    in_hand = outer;
  }
  return {.type = refused == OX_OK ? type_fetch_taken : type_fetch_refused, .reference = report->reference};
}

}  // namespace ox

using namespace ox;

OX_RESULT OX_CALL oxcApDataReceive(oxcApDataCallback callback, void* argument) {
  OX_TRACE(trace::messages, "<S:oxcApDataReceive(%x,%x)>\n", trace::word(callback), trace::word(argument));
  return traced_as(trace::messages, "<E:oxcApDataReceive[%d]>\n", [&]() -> OX_RESULT {
    receiver = callback;
    receiver_argument = argument;
    return OX_OK;
  });
}

OX_RESULT OX_CALL oxcApDataRead(void* buffer, uint32_t size, uint32_t* length) {
  OX_TRACE(trace::messages, "<S:oxcApDataRead(%x,%d,%x)>\n", trace::word(buffer), static_cast<int>(size),
           trace::word(length));
  return traced_as(trace::messages, "<E:oxcApDataRead[%d]>\n", [&] { return read(buffer, size, length); });
}
