#ifndef TVSERVICE_TSAUDIO_H
#define TVSERVICE_TSAUDIO_H

// One audio track of a service, as IServiceDataAux::GetAudio describes it. A default-constructed
// track is neither audio description nor spoken subtitles.
class TSAudio {
  public:
    // The track describes the picture for viewers who cannot see it.
    bool IsAudioDescription() const { return m_AudioDescription; }
    // The track reads the subtitles aloud.
    bool IsSpokenSubtitles() const { return m_SpokenSubtitles; }

    void SetAudioDescription(bool audioDescription) { m_AudioDescription = audioDescription; }
    void SetSpokenSubtitles(bool spokenSubtitles) { m_SpokenSubtitles = spokenSubtitles; }

  private:
    bool m_AudioDescription = false;
    bool m_SpokenSubtitles = false;
};

#endif
