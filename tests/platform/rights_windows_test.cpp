// The rights of every named object that the library and the daemons make: those that are handed to the system, and
// those that the object has then.
#include <windows.h>

#include <asio/io_context.hpp>
#include <map>
#include <string>
#include <vector>

#include "platform/named_event.h"
#include "platform/notification.h"
#include "platform/server/pipe_server.h"
#include "platform/service.h"
#include "platform/shared_block.h"
#include "platform/windows/security.h"
#include "tests/support/system_root.h"
#include "tests/support/test.h"

namespace {

constexpr GENERIC_MAPPING event_rights{STANDARD_RIGHTS_READ | 1, STANDARD_RIGHTS_WRITE | EVENT_MODIFY_STATE,
                                       STANDARD_RIGHTS_EXECUTE | SYNCHRONIZE, EVENT_ALL_ACCESS};
constexpr GENERIC_MAPPING mutex_rights{STANDARD_RIGHTS_READ | MUTANT_QUERY_STATE, STANDARD_RIGHTS_WRITE,
                                       STANDARD_RIGHTS_EXECUTE | SYNCHRONIZE, MUTANT_ALL_ACCESS};
constexpr GENERIC_MAPPING block_rights{STANDARD_RIGHTS_READ | SECTION_QUERY | SECTION_MAP_READ,
                                       STANDARD_RIGHTS_WRITE | SECTION_MAP_WRITE,
                                       STANDARD_RIGHTS_EXECUTE | SECTION_MAP_EXECUTE, SECTION_ALL_ACCESS};
constexpr GENERIC_MAPPING pipe_rights{FILE_GENERIC_READ, FILE_GENERIC_WRITE, FILE_GENERIC_EXECUTE, FILE_ALL_ACCESS};

// A user of every machine and of the tests, by what he is.
std::string name_of(PSID sid) {
  const struct {
    WELL_KNOWN_SID_TYPE type;
    const char* name;
  } known[] = {{WinLocalSystemSid, "SYSTEM"},      {WinBuiltinAdministratorsSid, "ADMINISTRATORS"},
               {WinWorldSid, "EVERYONE"},          {WinServiceSid, "SERVICES"},
               {WinAuthenticatedUserSid, "USERS"}, {WinNetworkSid, "NETWORK"}};
  for (const auto& one : known) {
    if (::IsWellKnownSid(sid, one.type) != FALSE) return one.name;
  }
  return "MAKER";
}

std::string name_of(DWORD mask, GENERIC_MAPPING mapping) {
  const auto mapped = [&](DWORD rights) {
    ::MapGenericMask(&rights, &mapping);
    return rights;
  };
  if (mapped(mask) == mapped(GENERIC_ALL)) return "all";
  if (mapped(mask) == mapped(GENERIC_READ | GENERIC_WRITE | GENERIC_EXECUTE)) return "use";
  if (mapped(mask) == mapped(GENERIC_READ)) return "read";
  char text[16];
  (void)std::snprintf(text, sizeof text, "%lX", mask);
  return text;
}

// "MAKER all, EVERYONE read"; "none" without a list, which is everybody's.
std::string shown(PSECURITY_DESCRIPTOR descriptor, const GENERIC_MAPPING& mapping) {
  BOOL present = FALSE;
  BOOL by_default = FALSE;
  ACL* acl = nullptr;
  const BOOL read = ::GetSecurityDescriptorDacl(descriptor, &present, &acl, &by_default);
  if (read == FALSE || present == FALSE || acl == nullptr) return "none";
  std::string text;
  for (DWORD i = 0; i < acl->AceCount; ++i) {
    void* entry = nullptr;
    if (::GetAce(acl, i, &entry) == FALSE) return "damaged";
    auto* const ace = static_cast<ACCESS_ALLOWED_ACE*>(entry);
    text += text.empty() ? "" : ", ";
    text += ace->Header.AceType == ACCESS_DENIED_ACE_TYPE ? "not " : "";
    text += name_of(&ace->SidStart) + ' ' + name_of(ace->Mask, mapping);
  }
  return text;
}

std::string rights_of(HANDLE object, const GENERIC_MAPPING& mapping) {
  DWORD size = 0;
  (void)::GetKernelObjectSecurity(object, DACL_SECURITY_INFORMATION, nullptr, 0, &size);
  std::vector<std::byte> descriptor(size);
  const BOOL told = ::GetKernelObjectSecurity(object, DACL_SECURITY_INFORMATION, descriptor.data(), size, &size);
  return told != FALSE ? shown(descriptor.data(), mapping) : "error " + std::to_string(::GetLastError());
}

struct Made {
  std::string handed;
  std::string has;
};
std::map<std::string, Made> made;  // by the name's last part; what has no name nobody finds

HANDLE note(HANDLE object, const char* name, const SECURITY_ATTRIBUTES* security, const GENERIC_MAPPING& mapping) {
  const DWORD error = ::GetLastError();
  if (name != nullptr && object != nullptr && object != INVALID_HANDLE_VALUE) {
    const std::string whole = name;
    Made& one = made[whole.substr(whole.find_last_of("\\.") + 1)];
    one.handed = security != nullptr ? shown(security->lpSecurityDescriptor, mapping) : "default";
    one.has = rights_of(object, mapping);
  }
  ::SetLastError(error);
  return object;
}

template <class Function>
Function system_call(const char* name) {
  return reinterpret_cast<Function>(reinterpret_cast<void*>(::GetProcAddress(::GetModuleHandleA("kernel32"), name)));
}

HANDLE WINAPI make_event(SECURITY_ATTRIBUTES* security, BOOL manual, BOOL set, LPCSTR name) {
  const auto call = system_call<decltype(&::CreateEventA)>("CreateEventA");
  return note(call(security, manual, set, name), name, security, event_rights);
}
HANDLE WINAPI make_mutex(SECURITY_ATTRIBUTES* security, BOOL held, LPCSTR name) {
  const auto call = system_call<decltype(&::CreateMutexA)>("CreateMutexA");
  return note(call(security, held, name), name, security, mutex_rights);
}
HANDLE WINAPI make_block(HANDLE file, SECURITY_ATTRIBUTES* security, DWORD page, DWORD high, DWORD low, LPCSTR name) {
  const auto call = system_call<decltype(&::CreateFileMappingA)>("CreateFileMappingA");
  return note(call(file, security, page, high, low, name), name, security, block_rights);
}
HANDLE WINAPI make_pipe(LPCSTR name, DWORD open, DWORD mode, DWORD most, DWORD out, DWORD in, DWORD limit,
                        SECURITY_ATTRIBUTES* security) {
  const auto call = system_call<decltype(&::CreateNamedPipeA)>("CreateNamedPipeA");
  return note(call(name, open, mode, most, out, in, limit, security), name, security, pipe_rights);
}

}  // namespace

// In the place of the imports. The compiler's thread runtime makes events, too: before any lock that is made at its
// first use.
extern "C" {
extern const decltype(&::CreateEventA) import_event __asm__("__imp__CreateEventA@16");
const decltype(&::CreateEventA) import_event = &make_event;
extern const decltype(&::CreateMutexA) import_mutex __asm__("__imp__CreateMutexA@12");
const decltype(&::CreateMutexA) import_mutex = &make_mutex;
extern const decltype(&::CreateFileMappingA) import_block __asm__("__imp__CreateFileMappingA@24");
const decltype(&::CreateFileMappingA) import_block = &make_block;
extern const decltype(&::CreateNamedPipeA) import_pipe __asm__("__imp__CreateNamedPipeA@32");
const decltype(&::CreateNamedPipeA) import_pipe = &make_pipe;
}

namespace ox::platform {
namespace {

constexpr char to_read[] = "MAKER all, SYSTEM all, ADMINISTRATORS all, EVERYONE read";
constexpr char to_use[] = "MAKER all, SYSTEM all, ADMINISTRATORS all, EVERYONE use";

TEST(Rights, EveryNamedObjectHasThoseThatItIsToHave) {
  made.clear();
  const std::string file = test::work_dir() + "/texts";
  test::write_file(file, "texts");
  asio::io_context loop;
  SharedBlock tree, texts, trace;
  NamedEvent started, allowed, refused;
  NamedMutex expert;
  Notification announced;
  ServiceMark mark;
  const auto server = make_pipe_server(loop);
  EXPECT_EQ(error_none, tree.create("Global\\ox1120", 64, Access::machine));
  EXPECT_EQ(error_none, texts.create_from_file("Global\\ox_errmsg", file.c_str(), Access::machine));
  EXPECT_EQ(error_none, trace.create("Global\\trace", 64, Access::machine));
  EXPECT_EQ(error_none, started.create("Global\\OxWaitEvent", Access::machine));
  EXPECT_EQ(error_none, allowed.create("OxLogon_Ok", Access::machine));
  EXPECT_EQ(error_none, refused.create("OxLogon_Cancel", Access::machine));
  EXPECT_EQ(error_none, expert.create("OxExpdMutex", Access::machine));
  EXPECT_EQ(error_none, announced.create("Global\\0x10x2"));
  EXPECT_EQ(error_none, mark.hold("oxexpd"));
  EXPECT_EQ(error_none, server->serve("\\\\.\\PIPE\\ox_stdpipe", [](auto) {}));

  const struct {
    const char* name;
    const char* why;
    const char* rights;
  } objects[] = {
      {"ox1120", "every local process maps the tree, and nobody else writes it", to_read},
      {"ox_errmsg", "and the error texts", to_read},
      {"trace", "the mask is read by all and set by administrators", to_read},
      {"OxWaitEvent", "every process asks whether the services run", to_use},
      {"OxLogon_Ok", "the dialog of another process sets it", to_use},
      {"OxLogon_Cancel", "", to_use},
      {"OxExpdMutex", "every process asks whether the daemon runs", to_use},
      {"0x10x2", "the manager sets it, whatever its account",
       "MAKER all, SYSTEM all, ADMINISTRATORS all, SERVICES use"},
      {"ox_stdpipe", "the users of this machine, and nobody from another one",
       "not NETWORK all, MAKER all, SYSTEM all, ADMINISTRATORS all, USERS use"},
      {"oxexpd", "of a system of one account's own: what the system gives by itself", "default"},
  };
  EXPECT_EQ(std::size(objects), made.size());
  for (const auto& object : objects) {
    SCOPED_TRACE(std::string(object.name) + ": " + object.why);
    const Made& one = made[object.name];
    EXPECT_EQ(object.rights, one.handed);
    EXPECT_TRUE(one.handed == "default" || one.has == object.rights) << "the system has kept: " << one.has;
  }
}

}  // namespace
}  // namespace ox::platform
