// Files of component types and relation types: a faulty one adds nothing, and its first fault is the result.
#include <oxbase/oxf.h>

#include "fuzz/target.h"

namespace {

using ox::fuzz::expect;

void tell(void* first, const char*, std::uint32_t, OX_RESULT code, const char* subject) {
  expect(code != OX_OK && subject != nullptr);
  auto& result = *static_cast<OX_RESULT*>(first);
  if (result == OX_OK) result = code;
}

}  // namespace

void ox::fuzz::run(std::string_view input) {
  const std::string path = folder().write("x.def", input);
  oxfType* types = nullptr;
  oxfRelt* relations = nullptr;
  expect(oxfAddBuiltInTypes(&types) == OX_OK);
  OX_RESULT first = OX_OK;
  OX_RESULT result = oxfReadTypeFile(&types, path.c_str(), tell, &first);
  expect(result == first);
  first = OX_OK;
  result = oxfReadReltFile(&relations, types, path.c_str(), tell, &first);
  expect(result == first);
  expect(first == OX_OK || relations == nullptr);
  for (const oxfRelt* one = relations; one != nullptr; one = oxfReltNext(one)) {
    expect(oxf_relt_search(relations, oxfReltName(one)) == one);
  }
  oxfTypeFree(types);
  oxfReltFree(relations);
}
