#include "progress_line.h"

#include <unistd.h>

#include <cstdio>
#include <utility>

namespace trevalo_cli {
namespace {

constexpr uint64_t kLargeFile = 64ull * 1024 * 1024;
constexpr auto kInterval = std::chrono::milliseconds(250);
constexpr double kMiB = 1024.0 * 1024.0;

}  // namespace

ProgressLine::ProgressLine(std::string name, uint64_t total_bytes, bool regular_file)
    : m_Name(std::move(name)),
      m_Total(total_bytes),
      m_Enabled(regular_file && total_bytes >= kLargeFile && isatty(STDERR_FILENO) == 1) {}

ProgressLine::~ProgressLine() {
    Erase();
}

void ProgressLine::Update(uint64_t bytes_read) {
    if (!m_Enabled) return;
    const auto now = std::chrono::steady_clock::now();
    if (m_Shown && now - m_LastShown < kInterval) return;
    m_LastShown = now;
    m_Shown = true;
    const uint64_t done = bytes_read < m_Total ? bytes_read : m_Total;
    std::fprintf(stderr, "\rreading %s: %3d%% (%.0f of %.0f MiB)\033[K", m_Name.c_str(),
                 static_cast<int>(done * 100 / m_Total), done / kMiB, m_Total / kMiB);
    std::fflush(stderr);
}

void ProgressLine::Erase() {
    if (!m_Shown) return;
    std::fputs("\r\033[K", stderr);
    std::fflush(stderr);
    m_Shown = false;
}

}  // namespace trevalo_cli
