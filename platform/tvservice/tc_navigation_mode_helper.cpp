#include "TCNavigationModeHelper.h"
#include "simulated_tv_state.h"

// The simulated receiver watches one service in every TV mode and list, so the criteria only
// have to say whether it can be selected.
bool TCNavigationModeHelper::GetNavigationCriteria(TSTvMode, ENavigationMode,
                                                   TCCriteriaHelper& criteria, unsigned long long) {
    const bool selected = !ReadSimulatedTvState().Fails("criteria");
    criteria.SetReady(selected);
    return selected;
}
