#ifndef TVSERVICE_TCNAVIGATIONMODEHELPER_H
#define TVSERVICE_TCNAVIGATIONMODEHELPER_H

#include "ENavigationMode.h"
#include "TCCriteriaHelper.h"
#include "TSTvMode.h"

class TCNavigationModeHelper {
  public:
    TCNavigationModeHelper() = delete;

    // Sets `criteria` up to select, in `tvMode`, the service that `navigationMode` names, among
    // the service lists whose bits are set in `serviceLists` (all bits set: every list). Returns
    // true when the criteria select a service; on false they select none.
    static bool GetNavigationCriteria(TSTvMode tvMode, ENavigationMode navigationMode,
                                      TCCriteriaHelper& criteria, unsigned long long serviceLists);
};

#endif
