#include "platform/windows/security.h"

#include <initializer_list>
#include <new>
#include <string>

#include "platform/registry.h"
#include "platform/windows/fail.h"
#include "platform/windows/handle.h"
#include "platform/windows/private_system.h"

namespace ox::platform {
namespace {

using Sid = std::vector<std::byte>;

PSID sid_of(const Sid& sid) noexcept { return const_cast<std::byte*>(sid.data()); }

Error well_known(SID_IDENTIFIER_AUTHORITY authority, std::initializer_list<DWORD> parts, Sid& sid) {
  const DWORD* part = parts.begin();
  PSID made = nullptr;
  const auto count = static_cast<BYTE>(parts.size());
  if (::AllocateAndInitializeSid(&authority, count, part[0], count > 1 ? part[1] : 0, 0, 0, 0, 0, 0, 0, &made) ==
      FALSE) {
    return fail_last();
  }
  sid.resize(::GetLengthSid(made));
  const bool copied = ::CopySid(static_cast<DWORD>(sid.size()), sid.data(), made) != FALSE;
  (void)::FreeSid(made);
  return copied ? error_none : fail_last();
}

// TokenUser: the process's account; TokenOwner: to whom belongs what it makes. Both answers begin with the identifier.
Error process_sid(TOKEN_INFORMATION_CLASS which, Sid& sid) {
  HANDLE raw = nullptr;
  if (::OpenProcessToken(::GetCurrentProcess(), TOKEN_QUERY, &raw) == FALSE) return fail_last();
  const Handle token(raw);
  DWORD size = 0;
  (void)::GetTokenInformation(token.get(), which, nullptr, 0, &size);
  std::vector<std::byte> answer(size);
  if (::GetTokenInformation(token.get(), which, answer.data(), size, &size) == FALSE) return fail_last();
  const PSID from = *reinterpret_cast<const PSID*>(answer.data());
  sid.resize(::GetLengthSid(from));
  return ::CopySid(static_cast<DWORD>(sid.size()), sid.data(), from) != FALSE ? error_none : fail_last();
}

struct Grant {
  Sid who;
  DWORD rights;
  bool denied = false;
};

constexpr DWORD use = GENERIC_READ | GENERIC_WRITE | GENERIC_EXECUTE;

// The users of the system: its group where the installation names one, else everyone who has logged on.
Error users(Sid& sid) {
  std::string group;
  const bool named = registry_read("SOFTWARE\\CORVID\\OXBASE", "LocalGroup", group, 260) == error_none;
  if (named && !group.empty() && account_sid(group.c_str(), sid) == error_none) return error_none;
  return well_known(SECURITY_NT_AUTHORITY, {SECURITY_AUTHENTICATED_USER_RID}, sid);
}

Error add_others(Access access, Shared kind, std::vector<Grant>& grants) {
  Sid sid;
  if (access == Access::daemon) {  // an account of its own, if it is not the system's
    if (const Error error = well_known(SECURITY_NT_AUTHORITY, {SECURITY_SERVICE_RID}, sid)) return error;
    grants.push_back({sid, use});
  } else if (access == Access::group) {
    if (const Error error = users(sid)) return error;
    grants.push_back({sid, use});
  } else {
    if (const Error error = well_known(SECURITY_WORLD_SID_AUTHORITY, {SECURITY_WORLD_RID}, sid)) return error;
    grants.push_back({sid, kind == Shared::block ? DWORD{GENERIC_READ} : use});
  }
  return error_none;
}

Error collect(Access access, Shared kind, std::vector<Grant>& grants) {
  Sid sid;
  if (kind == Shared::pipe) {  // a local channel: nobody comes in over the network
    if (const Error error = well_known(SECURITY_NT_AUTHORITY, {SECURITY_NETWORK_RID}, sid)) return error;
    grants.push_back({sid, GENERIC_ALL, true});
  }
  if (const Error error = process_sid(TokenUser, sid)) return error;
  grants.push_back({sid, GENERIC_ALL});
  if (const Error error = well_known(SECURITY_NT_AUTHORITY, {SECURITY_LOCAL_SYSTEM_RID}, sid)) return error;
  grants.push_back({sid, GENERIC_ALL});
  if (const Error error =
          well_known(SECURITY_NT_AUTHORITY, {SECURITY_BUILTIN_DOMAIN_RID, DOMAIN_ALIAS_RID_ADMINS}, sid)) {
    return error;
  }
  grants.push_back({sid, GENERIC_ALL});
  return add_others(access, kind, grants);
}

}  // namespace

Error account_sid(const char* account, std::vector<std::byte>& sid) {
  DWORD size = 0;
  DWORD domain_size = 0;
  SID_NAME_USE kind = SidTypeUnknown;
  (void)::LookupAccountNameA(nullptr, account, nullptr, &size, nullptr, &domain_size, &kind);
  if (size == 0) return fail_last();
  Sid found(size);
  std::string domain(domain_size, '\0');
  if (::LookupAccountNameA(nullptr, account, found.data(), &size, domain.data(), &domain_size, &kind) == FALSE) {
    return fail_last();
  }
  sid = std::move(found);
  return error_none;
}

namespace {

Error owner_of(HANDLE object, std::vector<std::byte>& descriptor, PSID& owner) {
  DWORD size = 0;
  BOOL by_default = FALSE;
  (void)::GetKernelObjectSecurity(object, OWNER_SECURITY_INFORMATION, nullptr, 0, &size);
  descriptor.resize(size);
  const bool told =
      ::GetKernelObjectSecurity(object, OWNER_SECURITY_INFORMATION, descriptor.data(), size, &size) != FALSE &&
      ::GetSecurityDescriptorOwner(descriptor.data(), &owner, &by_default) != FALSE && owner != nullptr;
  return told ? error_none : fail_last();
}

// In the registry of the service manager itself, which only administrators write.
Error service_account(Sid& sid) {
  char account[512];
  DWORD size = sizeof account;
  HKEY key = nullptr;
  LSTATUS result =
      ::RegOpenKeyExA(HKEY_LOCAL_MACHINE, "SYSTEM\\CurrentControlSet\\Services\\Oxbase", 0, KEY_READ, &key);
  if (result != ERROR_SUCCESS) return fail(static_cast<Error>(result));
  DWORD kind = REG_NONE;
  result = ::RegQueryValueExA(key, "ObjectName", nullptr, &kind, reinterpret_cast<BYTE*>(account), &size);
  (void)::RegCloseKey(key);
  if (result != ERROR_SUCCESS || kind != REG_SZ || size == 0) return fail(error_file_not_found);
  account[size - 1] = '\0';
  const std::string name = account;  // of this machine where it begins with a point
  return account_sid(name.starts_with(".\\") ? name.c_str() + 2 : name.c_str(), sid);
}

std::vector<Sid> trusted_owners() {
  std::vector<Sid> trusted;
  Sid sid;
  const auto add = [&](Error error) {
    if (error == error_none) trusted.push_back(sid);
  };
  add(well_known(SECURITY_NT_AUTHORITY, {SECURITY_LOCAL_SYSTEM_RID}, sid));
  add(well_known(SECURITY_NT_AUTHORITY, {SECURITY_BUILTIN_DOMAIN_RID, DOMAIN_ALIAS_RID_ADMINS}, sid));
  if (private_system().empty()) {
    add(service_account(sid));
  } else {
    add(process_sid(TokenUser, sid));
    add(process_sid(TokenOwner, sid));
  }
  return trusted;
}

}  // namespace

bool is_of_installation(HANDLE object) noexcept {
  try {
    std::vector<std::byte> descriptor;
    PSID owner = nullptr;
    if (owner_of(object, descriptor, owner) != error_none) return false;
    for (const Sid& sid : trusted_owners()) {
      if (::EqualSid(owner, sid_of(sid)) != FALSE) return true;
    }
  } catch (const std::bad_alloc&) {  // then nobody is believed
  }
  return false;
}

Error SecurityAttributes::build(Access access, Shared kind) {
  std::vector<Grant> grants;
  if (const Error error = collect(access, kind, grants)) return error;
  std::size_t size = sizeof(ACL);
  for (const Grant& grant : grants) size += sizeof(ACCESS_ALLOWED_ACE) + grant.who.size();
  acl_.assign(size, std::byte{});
  const auto acl = reinterpret_cast<ACL*>(acl_.data());
  if (::InitializeAcl(acl, static_cast<DWORD>(size), ACL_REVISION) == FALSE) return fail_last();
  for (const Grant& grant : grants) {  // what is denied stands first
    const BOOL added = grant.denied ? ::AddAccessDeniedAce(acl, ACL_REVISION, grant.rights, sid_of(grant.who))
                                    : ::AddAccessAllowedAce(acl, ACL_REVISION, grant.rights, sid_of(grant.who));
    if (added == FALSE) return fail_last();
  }
  if (::InitializeSecurityDescriptor(&descriptor_, SECURITY_DESCRIPTOR_REVISION) == FALSE ||
      ::SetSecurityDescriptorDacl(&descriptor_, TRUE, acl, FALSE) == FALSE) {
    return fail_last();
  }
  attributes_ = {sizeof attributes_, &descriptor_, FALSE};
  return error_none;
}

}  // namespace ox::platform
