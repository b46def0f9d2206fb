#include "manager/selection.h"

#include "tests/manager/bench_manager.h"

namespace ox::manager {
namespace {

class SelectionTest : public ManagerTest {};

TEST_F(SelectionTest, FormsOfNames) {
  const struct {
    const char* names;
    const char* expected;  // path, "=" an instance, "/" a subtree, "!" unknown
  } cases[] = {
      {"obj.cmn.cmnName.0", "11.1.1.0="},
      {"11.1.1", "11.1.1/"},
      {"obj", "11/"},
      {".1.1.0", "1.3.6.1.2.1.1.1.0="},
      {"obj.dataEnt.{1,dataID}.0,11.13", "11.15.1.0= 11.15.3.0= 11.13/"},
      {".interfaces.ifTable.ifEntry.ifDescr.*", "1.3.6.1.2.1.2.2.1.2/"},
      {"11.1.99.0,11.1", "11.1.99.0! 11.1/"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.names);
    std::vector<Selection> selections;
    ASSERT_EQ(0u, select(c.names, selections));
    std::string shown;
    for (const Selection& one : selections) {
      if (!shown.empty()) shown += ' ';
      shown += oid_text(one.path) + (one.error != 0 ? '!' : one.exact ? '=' : '/');
    }
    EXPECT_EQ(c.expected, shown);
  }
  std::vector<Selection> many;
  EXPECT_EQ(OX_ETOOMANY, select("11.{1,2,3,4}.{1,2,3,4}.{1,2,3,4}.{1,2,3,4}.{1,2,3,4}.{1,2}", many));
}

TEST_F(SelectionTest, StarsStandForOneNumberInsideAndForTheRestAtTheEnd) {
  std::vector<Selection> selections;
  ASSERT_EQ(0u, select(".interfaces.ifTable.ifEntry.ifDescr.*.2.*", selections));
  const Selection& selection = selections.front();
  const Oid column{1, 3, 6, 1, 2, 1, 2, 2, 1, 2};
  const auto covers = [&](const Oid& instance) {
    Oid path = column;
    path.insert(path.end(), instance.begin(), instance.end());
    return selection.covers(path);
  };
  EXPECT_TRUE(covers({7, 2, 1}));
  EXPECT_TRUE(covers({7, 2, 1, 1}));
  EXPECT_FALSE(covers({7, 2}));
  EXPECT_FALSE(covers({7, 3, 1}));
}

}  // namespace
}  // namespace ox::manager
