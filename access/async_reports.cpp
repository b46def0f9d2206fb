// Reports of asynchronous requests: to whom they belong and what their callbacks are told.
#include <cstring>
#include <utility>

#include <oxbase/oxc.h>

#include "access/async_request.h"
#include "access/callback.h"
#include "access/reports.h"
#include "access/request.h"
#include "common/trace.h"

namespace ox {
namespace {

// Which connection a notice is about: that of another machine's manager ends the request, our own manager's says that
// there is none for the time being.
OX_RESULT code_of_notice(const AsyncRequest& request) noexcept {
  const bool elsewhere =
      request.manager != nullptr && *request.manager != '\0' && std::strcmp(request.manager, oxcGetMyComm()) != 0;
  return elsewhere ? OX_EENDED : OX_ECLOSED;
}

void call(AsyncRequest& request, dnode* list, OX_RESULT code) noexcept {
  (void)run_callback("an asynchronous request", [&]() -> OX_RESULT {
    request.callback(&request, request.argument, list, code);
    return OX_OK;
  });
}

// The request stays open: its callback may close it, and is told of its end by a code.
OX_RESULT report_get(const Message& report) {
  AsyncRequest* const request = find_async_request_by_wire_id(report.destination_id);
  if (request == nullptr || request->kind != kind_get) return OX_OK;  // a late one: it has been closed
  dnode* list = nullptr;
  if (const OX_RESULT result = decode_reply(report, list)) return result;
  const OX_RESULT code = report.type == type_connection_notice ? code_of_notice(*request) : report.error;
  if (code == OX_EENDED) end_async_request(*request);
  call(*request, list, code);
  return OX_OK;
}

// The one report of a set ends it before its callback runs.
OX_RESULT report_set(const Message& report) {
  AsyncRequest* const open = find_async_request_by_wire_id(report.destination_id);
  if (open == nullptr || open->kind != kind_set) return OX_OK;
  const AsyncRequestPtr request = take_async_request(open);
  dnode* list = nullptr;
  const OX_RESULT decoded = decode_reply(report, list);
  OX_RESULT code = report.error != OX_OK ? report.error : decoded;
  if (report.type == type_connection_notice) code = code_of_notice(*request);
  call(*request, list, code);
  return OX_OK;
}

}  // namespace

NextFetch on_get_report(MessagePtr report) {
  OX_TRACE(trace::messages, "<S:asyget_report(%x)>\n", trace::word(report.get()));
  (void)traced_as(trace::messages, "<E:asyget_report[%ld]>\n", [&] { return report_get(*report); });
  return {};
}

NextFetch on_set_report(MessagePtr report) {
  OX_TRACE(trace::messages, "<S:asyset_report(%x)>\n", trace::word(report.get()));
  // The exit line has had this name since the first release.
  (void)traced_as(trace::messages, "<E:open_report[%ld]>\n", [&] { return report_set(*report); });
  return {};
}

}  // namespace ox
