// One application of the restart test: sends events, or waits for them under a name, whatever happens to the manager.
//   restart_client send NAME STOP   prints number and result of each event; ends when the file STOP is there
//   restart_client wait NAME SENDERS   prints the events; ends with the last one of so many senders
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>

#include <oxbase/oxbase.h>

namespace {

constexpr auto sender_pause = std::chrono::milliseconds(20);

bool connected = false;
void OX_CALL on_disconnect(uint32_t, OX_RESULT, uint32_t) { connected = false; }

void connect() {
  while (!connected) {
    connected = true;  // before the call: the callback may run inside it
    if (oxaInit(on_disconnect) != OX_OK) connected = false;
  }
}

OX_RESULT send(uint32_t handle, const std::string& memo) {
  evmsg* const event = oxeEvmsgAlloc();
  if (event == nullptr || oxeEvmsgSetMemo(event, memo.c_str()) != OX_OK) std::abort();
  const OX_RESULT result = oxeEventSend(handle, event);
  (void)oxeEvmsgFree(event);
  return result;
}

bool exists(const char* file) {
  std::FILE* const found = std::fopen(file, "r");
  if (found != nullptr) (void)std::fclose(found);
  return found != nullptr;
}

int send_all(const std::string& name, const char* stop) {
  uint32_t handle = 0;
  OX_RESULT result = OX_ENOSESSION;
  for (uint32_t number = 1;; ++number) {
    const bool last = exists(stop);
    if (result != OX_OK) {
      (void)oxaDispatch(0);  // the loss is told
      do {
        connect();
        result = oxeEventOpen(nullptr, name.c_str(), &handle);
        if (result != OX_OK) (void)oxaDispatch(0);
      } while (result != OX_OK);
    }
    result = send(handle, name + " " + std::to_string(number) + (last ? " last" : ""));
    std::printf("%u %u\n", number, result);
    (void)std::fflush(stdout);
    if (last && result == OX_OK) return 0;
    std::this_thread::sleep_for(sender_pause);
  }
}

uint32_t senders_left = 0;
OX_RESULT OX_CALL on_events(void*, uint32_t, void*, evmsg* list, OX_RESULT code) {
  if (code != OX_OK && code != OX_ECLOSED) std::printf("error %u\n", code);
  for (const evmsg* event = list; event != nullptr; event = oxeEvmsgNext(event)) {
    const char* memo = "";
    (void)oxeEvmsgGetMemo(event, &memo);
    std::puts(memo);
    if (std::string(memo).ends_with(" last")) --senders_left;
  }
  (void)std::fflush(stdout);
  (void)oxeEvmsgFree(list);
  return OX_OK;
}

int wait_for_all(const char* name) {
  void* wait = nullptr;
  do {
    connect();
    (void)oxaDispatch(0);  // a loss is told
  } while (oxeEventWaitOpenEx(name, on_events, nullptr, &wait) != OX_OK);
  std::puts("open");
  (void)std::fflush(stdout);
  while (senders_left != 0) {
    connect();
    (void)oxaDispatch(1000);
  }
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4) return 2;
  if (std::string(argv[1]) == "send") return send_all(argv[2], argv[3]);
  senders_left = static_cast<uint32_t>(std::strtoul(argv[3], nullptr, 10));
  return wait_for_all(argv[2]);
}
