#ifndef TVSERVICE_TCCRITERIAHELPER_H
#define TVSERVICE_TCCRITERIAHELPER_H

#include <set>

// What a service query looks for: which service (set up by
// TCNavigationModeHelper::GetNavigationCriteria) and which of its attributes to fetch.
class TCCriteriaHelper {
  public:
    // Asks the query to fetch attribute `attribute` (see EServiceAttribute).
    void Fetch(int attribute);
    bool IsFetched(int attribute) const;

    // True once the criteria select a service; a query with criteria that select none fails.
    bool IsReady() const { return m_Ready; }
    void SetReady(bool ready) { m_Ready = ready; }

  private:
    std::set<int> m_Fetched;
    bool m_Ready = false;
};

#endif
