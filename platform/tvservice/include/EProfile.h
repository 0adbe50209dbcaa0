#ifndef TVSERVICE_EPROFILE_H
#define TVSERVICE_EPROFILE_H

// The receiver profile a library object works for.
enum EProfile {
    PROFILE_NONE = 0,
    PROFILE_MAIN = 1,  // the main picture and its sound
};

#endif
