// A small tree in the fuzzer's own system root.
#pragma once

#include <oxbase/oxb.h>

#include "fuzz/target.h"

namespace ox::fuzz {

inline void load_small_tree() {
  static const std::string path = folder().write("small.def",
                                                 "obj amibtop.11 AMIBNONE not-accessible NULL-ACS\n"
                                                 "cmn obj.1 AMIBNONE not-accessible NULL-ACS\n"
                                                 "cmnName cmn.1 DisplayString read-write CONF-ACS\n"
                                                 "cmnState cmn.2 INTEGER read-only SNMP-ACS\n"
                                                 "iso amibtop.1 AMIBNONE not-accessible NULL-ACS\n"
                                                 "org iso.3 AMIBNONE not-accessible NULL-ACS\n");
  oxbInitAmibTree(OXB_TREE);
  expect(oxbAddAmibTree(path.c_str()) == OX_OK);
}

// Whatever the inputs do, the same tree.
inline void keep_small_tree() {
  static const bool loaded = (load_small_tree(), true);
  (void)loaded;
}

}  // namespace ox::fuzz
