#include "manager/components/vocabulary.h"

#include <memory>
#include <new>

#include <oxbase/oxd.h>

#include "manager/base/file_list.h"
#include "manager/base/paths.h"

namespace ox::manager {
namespace {

void require(OX_RESULT result) {
  if (result != OX_OK && result != OX_ETYPEEXISTS) throw std::bad_alloc();  // nothing else can be wrong here
}

void add_type(oxfType*& types, const char* name) {
  const std::unique_ptr<dnode, OX_RESULT(OX_CALL*)(dnode*)> node(oxdAlloc(1), oxdFree);
  if (node == nullptr) throw std::bad_alloc();
  require(oxdSetAmibName(node.get(), "10.7.1.0"));
  require(oxdSetText(node.get(), name));
  require(oxf_type_add(&types, node.get()));
}

void OX_CALL tell(void* argument, const char* path, std::uint32_t line, OX_RESULT code, const char* subject) {
  const std::string what = *subject != '\0' ? std::string(subject) + ": " : "";
  (*static_cast<const FaultSink*>(argument))(path, line, what + oxcStrError(code));
}

// Reads every file of a definition directory.
template <class Read>
bool read_files(const std::string& directory, const FaultSink& faults, Read read) {
  FaultSink sink = faults;
  bool sound = true;
  for (const std::string& file : definition_files(directory, faults, sound)) {
    sound = read(file.c_str(), &sink) == OX_OK && sound;
  }
  return sound;
}

}  // namespace

Vocabulary::Vocabulary() {
  require(oxfAddBuiltInTypes(&types_));
  for (const char* name : {"schEnt", "repType", "repEnt"}) add_type(types_, name);
  require(oxfAddBuiltInRelts(&relations_, types_));
  note_names();
}

Vocabulary::~Vocabulary() {
  (void)oxfReltFree(relations_);
  (void)oxfTypeFree(types_);
}

// A name that two types claim is the first one's.
void Vocabulary::note_names() {
  for (const oxfType* type = types_; type != nullptr; type = oxfTypeNext(type)) {
    names_.try_emplace(oxfTypeName(type), oxfTypeName(type));
    for (std::uint32_t i = 0; i < oxfTypeAliasCount(type); ++i) {
      names_.try_emplace(oxfTypeAlias(type, i), oxfTypeName(type));
    }
  }
}

bool Vocabulary::read(const std::string& work_directory, const FaultSink& faults) {
  const bool types = read_files(join(work_directory, "public", "comptype"), faults, [&](const char* file, void* sink) {
    return oxfReadTypeFile(&types_, file, tell, sink);
  });
  note_names();
  const bool relations =
      read_files(join(work_directory, "public", "reltype"), faults,
                 [&](const char* file, void* sink) { return oxfReadReltFile(&relations_, types_, file, tell, sink); });
  return types && relations;
}

std::string Vocabulary::canonical_type(std::string_view type) const {
  std::string name(type);
  (void)oxf_type_cnvCompType(name.data());
  name.resize(name.find('\0') != std::string::npos ? name.find('\0') : name.size());
  const auto own = names_.find(name);
  return own != names_.end() ? own->second : name;
}

OX_RESULT Vocabulary::check(const Relation& relation) const {
  const oxfRelt* const type = oxf_relt_search(relations_, relation.name.c_str());
  if (type == nullptr) return OX_ERELATIONNAME;
  const auto fits = [](const oxfType* wanted, const std::string& given) {
    return wanted == nullptr || oxfTypeName(wanted) == given;
  };
  const bool both = fits(oxfReltSource(type), relation.from.type) && fits(oxfReltDestination(type), relation.to.type);
  return both ? OX_OK : OX_ECOMPTYPE;
}

}  // namespace ox::manager
