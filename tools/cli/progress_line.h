// A progress line on the terminal while a large file is read ("reading FILE: 45% (120 of 265
// MiB)"), rewritten in place at most a few times a second and erased when done. Silent when
// stderr is not a terminal or the file is small.
#ifndef TREVALO_CLI_PROGRESS_LINE_H
#define TREVALO_CLI_PROGRESS_LINE_H

#include <chrono>
#include <cstdint>
#include <string>

namespace trevalo_cli {

class ProgressLine {
  public:
    ProgressLine(std::string name, uint64_t total_bytes, bool regular_file);
    ~ProgressLine();

    void Update(uint64_t bytes_read);
    void Erase();

  private:
    std::string m_Name;
    uint64_t m_Total;
    bool m_Enabled;
    bool m_Shown = false;
    std::chrono::steady_clock::time_point m_LastShown;
};

}  // namespace trevalo_cli

#endif
