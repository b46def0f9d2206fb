// A whole installation in the test's system root: the shipped files, where the daemon and the library look for them.
#pragma once

namespace ox::test {

// Copies the shipped files. Made once in a test process; later calls do nothing.
void lay_down_installation();

}  // namespace ox::test
