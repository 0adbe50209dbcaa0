#ifndef TVSERVICE_IAVCONTROL_H
#define TVSERVICE_IAVCONTROL_H

// The player of the receiver's picture and sound. Handed out by TVServiceAPI::CreateAVControl and
// owned by the library: the destructor is not public, so a caller cannot delete it.
class IAVControl {
  public:
    // The audio being played: its ISO 639 language code packed in an int (first character in
    // bits 23-16, then 15-8, then 7-0) and its index among the audio tracks of the current
    // service. Returns non-zero on success. On success `languageCode` is always written and
    // `currentIndex` only when the player knows the track's index; on failure neither is.
    virtual int GetCurrentAudioInfo(int* languageCode, int* currentIndex) = 0;

  protected:
    ~IAVControl() = default;
};

#endif
