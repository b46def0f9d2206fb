// What a data entry has collected, as a matrix: asked for once, or delivered piece by piece.
#include <utility>

#include "data/matrix.h"
#include "entries/data/data_entry.h"
#include "platform/fork.h"

namespace ox::entries {
namespace {

using data::matrix_ptr;

constexpr char header_path[] = "11.15.14.0";
constexpr char values_path[] = "11.15.15.0";
constexpr char window_path[] = "11.14.20.0";

OX_RESULT make_matrix(matrix_ptr& matrix) noexcept {
  matrix.reset(oxdMatrixAlloc());
  return matrix ? OX_OK : OX_ENOMEM;
}

// Appends the items of an answer: of its values that are bytes. 1 for a node without a value.
OX_RESULT add_items(oxdMatrix& matrix, const dnode* answer) {
  OX_TRACE(trace::general, "<S:AddMatrixItemList(%x,%x)>\n", trace::word(&matrix), trace::word(answer));
  return traced_as(trace::general, "<E:AddMatrixItemList[%ld]>\n", [&]() -> OX_RESULT {
    for (const dnode* node = answer; node != nullptr; node = oxdNext(node)) {
      std::uint32_t type = 0;
      std::uint32_t size = 0;
      const void* bytes = nullptr;
      if (oxdGetValue(node, &type, &size, &bytes) != OX_OK) return OX_EARG;
      if (type != OX_OCTETSTRING) continue;
      if (const OX_RESULT result = oxdMatrixAdd(&matrix, bytes, size)) return result;
    }
    return OX_OK;
  });
}

OX_RESULT make_table(oxdMatrix& matrix, std::uint32_t time_base) {
  OX_TRACE(trace::general, "<S:MakeMatrixTable(%x,%ld)>\n", trace::word(&matrix), trace::number(time_base));
  return traced_as(trace::general, "<E:MakeMatrixTable[%ld]>\n", [&] { return oxdTableSet(&matrix, time_base); });
}

OX_RESULT retrieve(const char* manager, const char* name, oxdMatrix** out) {
  constexpr std::uint32_t options = 3;
  if (out == nullptr) return OX_EMISSING;
  if (const OX_RESULT result = check_name(name)) return result;
  const Component entry{data_type, name};
  dnode_ptr header;
  dnode_ptr values;
  if (const OX_RESULT result = get(manager, entry, header_path, options, data_seconds, header)) return result;
  if (const OX_RESULT result = get(manager, entry, values_path, options, data_seconds, values)) return result;
  matrix_ptr matrix;
  OX_RESULT result = make_matrix(matrix);
  if (result == OX_OK) result = add_items(*matrix, header.get());
  if (result == OX_OK) result = add_items(*matrix, values.get());
  if (result == OX_OK) result = make_table(*matrix, matrix->timeNumber);
  if (result == OX_OK) *out = matrix.release();
  return result;
}

// Of a log entry, across its data entries: axes and values come in one answer.
OX_RESULT retrieve_window(const char* manager, const char* name, const oxaSelection* selection, oxdMatrix** out) {
  if (out == nullptr) return OX_EMISSING;
  if (const OX_RESULT result = check_name(name)) return result;
  const Component entry{data_owner_type, name};
  dnode* list = nullptr;
  OX_RESULT result = oxaGet(manager, entry.text().c_str(), window_path, selection, 0, data_seconds, &list);
  const dnode_ptr answer(list);
  matrix_ptr matrix;
  if (result == OX_OK) result = make_matrix(matrix);
  if (result == OX_OK) result = add_items(*matrix, answer.get());
  if (result == OX_OK) result = make_table(*matrix, matrix->timeNumber);
  if (result == OX_OK) *out = matrix.release();
  return result;
}

// ---- Piece by piece ----

// A retrieval that goes on. The header may come after the first values, and again when the axes have become longer.
struct Retrieval {
  Retrieval* next;
  Retrieval* prev;
  oxdMatrix* header;    // the axes; null until they are known
  dnode* early_values;  // that came before
  OX_RESULT early_code;
  bool has_early;
  std::uint32_t times;  // delivered so far
  oxlDataCallback callback;
  void* argument;
  void* header_request;
  void* values_request;
};

Retrieval* open_retrievals;  // the process's; unguarded, as the session is its thread's
[[maybe_unused]] const bool follows_forks = platform::in_forked_child([]() noexcept { open_retrievals = nullptr; });

struct RetrievalDelete {
  void operator()(Retrieval* retrieval) const noexcept {
    (void)oxdMatrixFree(retrieval->header);
    (void)oxdFree(retrieval->early_values);
    (void)oxcMemFree(retrieval);
  }
};
using retrieval_ptr = std::unique_ptr<Retrieval, RetrievalDelete>;

Retrieval* find(const void* request) noexcept {
  Retrieval* retrieval = open_retrievals;
  while (retrieval != nullptr && retrieval->header_request != request && retrieval->values_request != request) {
    retrieval = retrieval->next;
  }
  return retrieval;
}

// The axes of the header, then the items of the values; its times follow those delivered before.
OX_RESULT make_piece(Retrieval& retrieval, const dnode* values, matrix_ptr& piece) {
  OX_RESULT result = make_matrix(piece);
  if (result == OX_OK) result = data::copy_axes(*retrieval.header, *piece);
  if (result == OX_OK) result = add_items(*piece, values);
  if (result == OX_OK) result = make_table(*piece, retrieval.times);
  if (result == OX_OK) retrieval.times += piece->timeCount;
  if (result != OX_OK) piece.reset();
  return result;
}

// The callback may end the retrieval: it is not touched after that. With a new connection all comes again.
void deliver(Retrieval& retrieval, dnode_ptr values, OX_RESULT code) {
  matrix_ptr piece;
  if (code == OX_ECLOSED) retrieval.times = 0;
  if (values || code == OX_OK) {
    const OX_RESULT result = guarded([&] { return make_piece(retrieval, values.get(), piece); });
    if (result != OX_OK) code = result;
  }
  values.reset();
  retrieval.callback(retrieval.header_request, retrieval.argument, piece.release(), code);
}

OX_RESULT read_header(Retrieval& retrieval, const dnode* answer) {
  matrix_ptr header;
  OX_RESULT result = make_matrix(header);
  if (result == OX_OK) result = add_items(*header, answer);
  if (result == OX_OK) (void)oxdMatrixFree(std::exchange(retrieval.header, header.release()));
  return result;
}

void take_header(Retrieval& retrieval, const dnode* answer, OX_RESULT code) {
  if (code == OX_OK) code = guarded([&] { return read_header(retrieval, answer); });
  if (code != OX_OK) return retrieval.callback(retrieval.header_request, retrieval.argument, nullptr, code);
  if (!std::exchange(retrieval.has_early, false)) return;
  deliver(retrieval, dnode_ptr(std::exchange(retrieval.early_values, nullptr)), retrieval.early_code);
}

void take_values(Retrieval& retrieval, dnode_ptr values, OX_RESULT code) {
  if (retrieval.header != nullptr) return deliver(retrieval, std::move(values), code);
  if (values) (void)oxcQueueLink(&retrieval.early_values, values.release());
  if (code != OX_OK || !retrieval.has_early) retrieval.early_code = code;
  retrieval.has_early = true;
}

void OX_CALL receive(void* request, void* argument, dnode* list, OX_RESULT code) {
  dnode_ptr answer(list);
  OX_TRACE(trace::general, "<S:GetDataCallback(%ld,%x,%x,%ld)>\n", trace::number(trace::word(request)),
           trace::word(argument), trace::word(list), trace::number(code));
  Retrieval* const retrieval = find(request);
  if (retrieval == nullptr) {
    code = OX_EHANDLE;
  } else if (request == retrieval->header_request) {
    take_header(*retrieval, answer.get(), code);
  } else {
    take_values(*retrieval, std::move(answer), code);
  }
  OX_TRACE(trace::general, "<E:GetDataCallback[%ld]>\n", trace::number(code));
}

OX_RESULT ask(const char* manager, const Component& entry, const char* path, void** request) {
  constexpr std::uint32_t options = 64;
  return oxaAsyGet(manager, entry.text().c_str(), path, nullptr, options, data_seconds, receive, nullptr, request);
}

OX_RESULT start(const char* manager, const char* name, oxlDataCallback callback, void* argument, void** out) {
  if (callback == nullptr || out == nullptr) return OX_EMISSING;
  if (const OX_RESULT result = check_name(name)) return result;
  retrieval_ptr retrieval(make_tracked<Retrieval>("oxlCallbackInfo").release());
  if (!retrieval) return OX_ENOMEM;
  retrieval->callback = callback;
  retrieval->argument = argument;
  const Component entry{data_type, name};
  if (const OX_RESULT result = ask(manager, entry, header_path, &retrieval->header_request)) return result;
  const OX_RESULT result = guarded([&] { return ask(manager, entry, values_path, &retrieval->values_request); });
  if (result != OX_OK) return (void)oxaClose(retrieval->header_request), result;
  *out = retrieval->header_request;
  (void)oxcQueueAdd(&open_retrievals, retrieval.release());
  return OX_OK;
}

OX_RESULT stop(const void* request) {
  Retrieval* const found = find(request);
  if (found == nullptr || found->header_request != request) return OX_EHANDLE;
  (void)oxcQueueDel(&open_retrievals, found);
  const retrieval_ptr retrieval(found);
  const OX_RESULT result = oxaClose(retrieval->header_request);
  const OX_RESULT second = oxaClose(retrieval->values_request);
  return result != OX_OK ? result : second;
}

}  // namespace
}  // namespace ox::entries

using namespace ox;
using namespace ox::entries;

OX_RESULT OX_CALL oxlGetDataEntryLogData(const char* manager, const char* name, oxdMatrix** matrix) {
  OX_DATA_START("oxlGetDataEntryLogData", "%s,%s,%x", trace::text(manager), trace::text(name), trace::word(matrix));
  return OX_DATA_CALL("oxlGetDataEntryLogData", [&] { return retrieve(manager, name, matrix); });
}

OX_RESULT OX_CALL oxlGetLogEntryData(const char* manager, const char* name, const oxaSelection* selection,
                                     oxdMatrix** matrix) {
  OX_DATA_START("oxlGetLogEntryData", "%s,%s,%x,%x", trace::text(manager), trace::text(name), trace::word(selection),
                trace::word(matrix));
  return OX_DATA_CALL("oxlGetLogEntryData", [&] { return retrieve_window(manager, name, selection, matrix); });
}

OX_RESULT OX_CALL oxlFreeDataEntryMatrix(oxdMatrix* matrix) {
  OX_DATA_START("oxlFreeDataEntryMatrix", "%x", trace::word(matrix));
  return OX_DATA_CALL("oxlFreeDataEntryMatrix", [&] { return oxdMatrixFree(matrix); });
}

OX_RESULT OX_CALL oxlDataEntryGetData(const char* manager, const char* name, oxlDataCallback callback, void* argument,
                                      void** request) {
  OX_DATA_START("oxlDataEntryGetData", "%s,%s,%x,%x,%x", trace::text(manager), trace::text(name), trace::word(callback),
                trace::word(argument), trace::word(request));
  return OX_DATA_CALL("oxlDataEntryGetData", [&] { return start(manager, name, callback, argument, request); });
}

OX_RESULT OX_CALL oxlDataEntryGetDataStop(void* request) {
  OX_DATA_START("oxlDataEntryGetDataStop", "%x", trace::word(request));
  return OX_DATA_CALL("oxlDataEntryGetDataStop", [&] { return stop(request); });
}
