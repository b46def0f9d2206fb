// A daemon as a service of the system: this program, started, asked to stop and removed by the service manager.
#include <windows.h>

#include <csignal>

#include "platform/daemon_service.h"
#include "platform/environment.h"
#include "tests/support/other_process.h"

namespace ox::platform {
namespace {

using test::OtherProcess;

volatile std::sig_atomic_t asked = 0;
int serves() {
  (void)std::signal(SIGTERM, [](int) { asked = 1; });
  tell_state(DaemonState::ready);
  for (int i = 0; i < 6000 && asked == 0; ++i) sleep_ms(10);
  tell_state(DaemonState::stopping);
  return asked != 0 ? 0 : 1;
}

int is_a_service(OtherProcess& owner) {
  int result = 1;
  return run_service(owner.text().c_str(), serves, result) == error_none ? result : 2;
}
[[maybe_unused]] const bool declared = OtherProcess::declare("service", is_a_service);

SERVICE_STATUS await(SC_HANDLE service, DWORD state) {
  SERVICE_STATUS status{};
  for (int i = 0; i < 3000 && ::QueryServiceStatus(service, &status) != FALSE && status.dwCurrentState != state; ++i) {
    sleep_ms(10);
  }
  EXPECT_EQ(state, status.dwCurrentState);
  return status;
}

TEST(Service, IsInstalledStartedStoppedAndRemoved) {
  const std::string name = "OxTest" + std::to_string(process_id()), option = "--process service " + name;
  const ServiceEntry entry{name.c_str(), "a test of OXBASE", name.c_str(), option.c_str()};
  ASSERT_EQ(error_none, install_service(entry));
  EXPECT_EQ(error_none, install_service(entry)) << "again";
  const SC_HANDLE manager = ::OpenSCManagerA(nullptr, nullptr, SC_MANAGER_CONNECT);
  const SC_HANDLE service = ::OpenServiceA(manager, name.c_str(), SERVICE_START | SERVICE_STOP | SERVICE_QUERY_STATUS);
  ASSERT_NE(nullptr, service);
  EXPECT_NE(FALSE, ::StartServiceA(service, 0, nullptr)) << ::GetLastError();
  EXPECT_EQ(DWORD{SERVICE_ACCEPT_STOP | SERVICE_ACCEPT_SHUTDOWN}, await(service, SERVICE_RUNNING).dwControlsAccepted);
  SERVICE_STATUS status{};
  EXPECT_NE(FALSE, ::ControlService(service, SERVICE_CONTROL_STOP, &status)) << ::GetLastError();
  EXPECT_EQ(DWORD{NO_ERROR}, await(service, SERVICE_STOPPED).dwWin32ExitCode);
  (void)::CloseServiceHandle(service);
  EXPECT_EQ(error_none, remove_service(entry));
  EXPECT_EQ(nullptr, ::OpenServiceA(manager, name.c_str(), SERVICE_QUERY_STATUS));
  EXPECT_NE(error_none, remove_service(entry));
  (void)::CloseServiceHandle(manager);
  int result = 0;
  EXPECT_NE(error_none, run_service(name.c_str(), serves, result)) << "nobody has started this one as a service";
}

}  // namespace
}  // namespace ox::platform
