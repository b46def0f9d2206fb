// The thread sanitizer does not see that a timed lock takes a mutex over from a dead owner, and takes the unlocking
// after it for a mistake. Read by its runtime at start; nothing in other builds.
extern "C" const char* __tsan_default_suppressions();
extern "C" __attribute__((visibility("default"))) const char* __tsan_default_suppressions() {
  return "mutex:ox::platform::NamedMutex::Impl::unlock\n";
}
