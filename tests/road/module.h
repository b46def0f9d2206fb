// The library as the host of a plug-in has it: loaded and unloaded while the program runs. The tests have parts of it
// linked in; what they ask of the library itself goes through here.
#pragma once

namespace ox::test {

using Function = void (*)();

class Module {
 public:
  Module();  // loads it
  void unload();
  // By the name of the function's declaration: find<decltype(oxaInit)>("oxaInit").
  template <class Type>
  [[nodiscard]] Type* find(const char* name) const {
    return reinterpret_cast<Type*>(address(name));
  }
  [[nodiscard]] static bool is_loaded();

  static const bool may_go;  // the system takes it out of the process when nobody has it loaded
  // What each load leaves behind of the compiler's thread runtime, a copy of which is in the library: handles of a
  // thread, an event and the semaphores of its own locks, and a slot for data of each thread.
  static const int runtime_handles;
  static const int runtime_slots;

 private:
  [[nodiscard]] Function address(const char* name) const;

  void* handle_;
};

// The number that the system's next slot for data of each thread has.
[[nodiscard]] int next_thread_slot();

}  // namespace ox::test
