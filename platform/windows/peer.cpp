#include "platform/windows/peer.h"

#include <sddl.h>

#include <algorithm>
#include <cstdlib>

#include "platform/windows/handle.h"
#include "platform/windows/security.h"

namespace ox::platform {
namespace {

constexpr char system_account[] = "S-1-5-18";
constexpr char administrators[] = "S-1-5-32-544";

AccountId text_of(PSID sid) {
  char* text = nullptr;
  if (sid == nullptr || ::ConvertSidToStringSidA(sid, &text) == FALSE) return {};
  const AccountId id = text;
  (void)::LocalFree(text);
  return id;
}

std::vector<std::byte> information(HANDLE token, TOKEN_INFORMATION_CLASS kind) {
  DWORD size = 0;
  (void)::GetTokenInformation(token, kind, nullptr, 0, &size);
  std::vector<std::byte> bytes(size);
  if (size == 0 || ::GetTokenInformation(token, kind, bytes.data(), size, &size) == FALSE) return {};
  return bytes;
}

AccountId user_of(HANDLE token) {
  const auto bytes = information(token, TokenUser);
  return bytes.empty() ? AccountId() : text_of(reinterpret_cast<const TOKEN_USER*>(bytes.data())->User.Sid);
}

AccountId own_user() {
  HANDLE raw = nullptr;
  if (::OpenProcessToken(::GetCurrentProcess(), TOKEN_QUERY, &raw) == FALSE) return {};
  const Handle token(raw);
  return user_of(token.get());
}

void add_groups(HANDLE token, std::vector<AccountId>& ids) {
  const auto bytes = information(token, TokenGroups);
  if (bytes.empty()) return;
  const auto* const groups = reinterpret_cast<const TOKEN_GROUPS*>(bytes.data());
  for (DWORD i = 0; i < groups->GroupCount; ++i) {
    if ((groups->Groups[i].Attributes & SE_GROUP_ENABLED) != 0) ids.push_back(text_of(groups->Groups[i].Sid));
  }
}

// To look at it is all that is done with the client's token; the thread never works in the client's name.
Handle token_of(HANDLE pipe) {
  if (::ImpersonateNamedPipeClient(pipe) == FALSE) return {};
  HANDLE token = nullptr;
  const BOOL opened = ::OpenThreadToken(::GetCurrentThread(), TOKEN_QUERY, TRUE, &token);
  if (::RevertToSelf() == FALSE) std::abort();
  return opened != FALSE ? Handle(token) : Handle();
}

AccountId sid_text(const std::string& name) {
  std::vector<std::byte> sid;
  if (account_sid(name.c_str(), sid) == error_none) return text_of(sid.data());
  PSID given = nullptr;
  if (::ConvertStringSidToSidA(name.c_str(), &given) == FALSE) return {};
  AccountId id = text_of(given);
  (void)::LocalFree(given);
  return id;
}

}  // namespace

Peer peer_of(HANDLE pipe) {
  Peer peer;
  ULONG process = 0;
  if (::GetNamedPipeClientProcessId(pipe, &process) != FALSE) peer.process = process;
  const Handle token = token_of(pipe);
  if (!token) return peer;
  peer.user = user_of(token.get());
  if (peer.user.empty()) return peer;
  add_groups(token.get(), peer.groups);
  peer.owner = peer.user == system_account || peer.user == own_user() ||
               std::find(peer.groups.begin(), peer.groups.end(), administrators) != peer.groups.end();
  return peer;
}

AccountId account_id(const std::string& name) { return sid_text(name); }
AccountId group_id(const std::string& name) { return sid_text(name); }

std::string account_name(const AccountId& user) {
  PSID sid = nullptr;
  if (::ConvertStringSidToSidA(user.c_str(), &sid) == FALSE) return user;
  char name[256];
  char domain[256];
  DWORD name_size = sizeof name;
  DWORD domain_size = sizeof domain;
  SID_NAME_USE kind = SidTypeUnknown;
  const BOOL found = ::LookupAccountSidA(nullptr, sid, name, &name_size, domain, &domain_size, &kind);
  (void)::LocalFree(sid);
  return found != FALSE ? std::string(name) : user;
}

}  // namespace ox::platform
