// Every exported function without a good argument: first nothing but nulls and zeros, then empty texts.
#include <map>

#include <oxbase/oxbase.h>

#include "tests/support/test.h"
#include "tests/support/texts.h"

namespace {

template <class Argument>
Argument empty() {
  if constexpr (std::is_same_v<Argument, const char*> || std::is_same_v<Argument, const void*>) return "";
  return Argument{};
}

// The results; one of them where they are the same. A pointer as result is only made, one to a block of the heap is
// not.
template <class R, class... Arguments>
std::string called(R(OX_CALL* function)(Arguments...)) {
  if constexpr ((std::is_pointer_v<Arguments> || ...) && std::is_integral_v<R>) {
    const std::string with_nulls = std::to_string(function(Arguments{}...));
    const std::string with_texts = std::to_string(function(empty<Arguments>()...));
    return with_nulls + (with_texts != with_nulls ? " " + with_texts : "");
  } else if constexpr ((std::is_pointer_v<Arguments> || ...) && !std::is_same_v<R, void*>) {
    (void)function(Arguments{}...);
  }
  return "1";
}

TEST(Nulls, AreBadArgumentsOrMeanSomething) {
  std::map<std::string, std::string> results;
#define OX_FUNCTION(name) results[#name] = called(name);
#include "functions.inc"
  const std::pair<const char*, const char*> others[] = {
      {"-1", "oxdGetValueSize oxdGetValueType"},
      {"0",  // nothing to release, to print, to match or to say
       "oxcFreeProcess oxcProcessId oxrFreeRule oxrRuleClose oxrepFreeRepType oxrepFreeRepEnt oxrepRepTypeCount "
       "oxrepRepEntCount oxcFree oxcMemFree oxcTrFreeConf oxcTrFreeTag oxdFree oxeEvfltFree oxeEvmsgFree oxfClrConfent "
       "oxfDestroyFileList oxfFileListFree oxsSnmpFree oxsSnmpTrapFree oxcZoneFree oxcmdScheduleFree oxcmdSchTimeFree "
       "oxcmdCalenderFree oxcmdStrToSchedule oxcmdEntryFree oxcmdEntryListClose oxlFreeLogEntry "
       "oxlLogEntryListClose oxlDataEntryClose oxlFreeDataEntry oxlDataEntryListClose "
       "oxlFreeDataEntryMatrix oxdMatrixFree oxdMatrixItemFree "
       "oxcMemDebugListOut oxcMemDumpLog "
       "oxsSnmpDump oxcMemDumpLogForICMP oxcMemDumpLogForRMGR oxcMemDumpLogForSNMP oxcMemDumpLogForSNMPTrap oxdPrint "
       "oxdPrintLog "
       "oxeEvfltMatch oxcVersionCmp oxcStrcat oxcStrcpy oxcPerror oxcPerrorMsgBox oxcPerrorMsgBox2 oxcApDataReceive "
       "oxfTypeFree oxfReltFree oxfTypeIsBuiltIn oxfTypeAliasCount oxfReltClass oxf_type_cnvCompType "
       "oxf_type_CompTypeMatch oxcDebugOutput oxdEncode oxfGetErrorFile oxfGetFileAttrib"},
      {"0 1", "oxcRegMatch oxcRegMatch2"},
      {"1 0", "oxfGetFileList"},
      {"1 5002", "oxbAddAmibTree oxcCheckFile"},
      {"1 14", "oxcmdDeleteCmdEntry"},
      {"1 59",
       "oxcmdSetAllData oxcmdSetCmdName oxcmdSetArgument oxcmdSetStartTime oxcmdSetInterval oxcmdSetAdminStatus "
       "oxcmdSetOperStatus oxcmdSetID oxcmdSetMode oxcmdSetOwner oxcmdSetSchedule oxcmdSetInvalidCmdName "
       "oxcmdSetInvalidCmdArg oxrConfSet"},
      {"195 59", "oxrepRepTypeConfSet oxrepRepEntConfSet"},
      {"1 254", "oxcNameDelete oxDeleteMapFile oxDeleteTypeFile"},
      {"63", "oxlDataEntryGetDataStop"},
      {"14",  // no session, no tree
       "oxaAsyGet oxaAsySet oxaClose oxaCompLock oxaCompUnlock2 oxaControl oxaDataAppend oxaDataGetSize oxaGet "
       "oxaMgmtControl oxaSet oxbSplit oxeEventOpen"},
      {"15", "oxaInit oxaServiceInit"},
      {"70 1", "oxeEventIconWaitOpen"},
      {"183", "oxbLoadAmibFiles oxbUseAlreadyExistAmibTree oxcStrToValue oxcValueToStr"},
      {"195",
       "oxeEventWaitCloseEx oxeEventWaitOpenEx oxcmdEntryOpen oxcmdEntryListOpen oxcmdEntryNextOpen "
       "oxrepReadRepType oxrepGetRepType oxrepGetRepEnt oxrepSetRepType oxrepSetRepEnt oxrepCreateRepEnt"},
      {"195 14",
       "oxlLogEntryDelete oxlDeleteLogEntry oxlLogEntryStart oxlStartLogEntry oxlLogEntryStop oxlStopLogEntry "
       "oxlDataEntryDelete oxlDeleteDataEntry oxlDataEntryMove oxrepRepTypeCreate oxrepStartRepEnt oxrepStopRepEnt "
       "oxrepCopySample oxrepDeleteRepEnt"},
      {"195 142", "oxcSetConfigEntry"}};
  for (const auto& [result, names] : others) {
    for (const std::string& name : ox::test::split(names, ' ')) {
      EXPECT_EQ(result, results[name]) << name;
      results.erase(name);
    }
  }
  // What is left: 1, in the log entries' family 195.
  for (const auto& [name, result] : results) {
    EXPECT_EQ(name.starts_with("oxl") ? "195" : "1", result) << name;
  }
  EXPECT_GT(results.size(), 250u);
}

}  // namespace
