#ifndef TVSERVICE_TSTVMODE_H
#define TVSERVICE_TSTVMODE_H

// The receiver's TV mode (the kind of source being watched) and its sub-mode. Both are -1 until
// IServiceNavigation::GetTvMode fills them.
struct TSTvMode {
    int mode[2] = {-1, -1};  // mode[0]: the TV mode; mode[1]: the sub-mode
};

#endif
