#ifndef TVSERVICE_ENAVIGATIONMODE_H
#define TVSERVICE_ENAVIGATIONMODE_H

// Which service navigation criteria select.
enum ENavigationMode {
    NAVIGATION_MODE_CURRENT = 0,  // the service being watched
};

#endif
