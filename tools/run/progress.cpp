#include "run/progress.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <vector>

#include "io/descriptors.h"

namespace tool {
namespace {

// A file costs about as much time as reading this many bytes, regardless of its size.
constexpr double bytesPerFile = 32768;

// 1234567 as 1,234,567.
std::string grouped(uint64_t number) {
  std::string text = std::to_string(number);
  for (std::size_t i = text.size(); i > 3;) {
    i -= 3;
    text.insert(i, 1, ',');
  }
  return text;
}

struct Unit {
  double size;
  const char* name;
};

Unit unitFor(double bytes) {
  static const std::array<Unit, 5> units = {
      {{1e12, "TB"}, {1e9, "GB"}, {1e6, "MB"}, {1e3, "kB"}, {1, "B"}}};
  for (const Unit& unit : units) {
    if (bytes >= unit.size)
      return unit;
  }
  return units.back();
}

// One digit after the point if it is significant.
std::string inUnit(double bytes, const Unit& unit) {
  double const value = bytes / unit.size;
  std::array<char, 64> text{};
  (void)snprintf(text.data(), text.size(), "%.*f", unit.size == 1 || value >= 99.95 ? 0 : 1, value);
  return text.data();
}

std::string amount(double bytes) {
  Unit const unit = unitFor(bytes);
  return inUnit(bytes, unit) + " " + unit.name;
}

std::string timeText(double seconds) {
  auto const all = static_cast<uint64_t>(std::lround(std::min(seconds, 3.6e8)));
  std::array<char, 64> text{};
  auto const hours = static_cast<unsigned long>(all / 3600);
  auto const minutes = static_cast<unsigned>(all / 60 % 60);
  auto const rest = static_cast<unsigned>(all % 60);
  if (hours > 0)
    (void)snprintf(text.data(), text.size(), "%lu:%02u:%02u", hours, minutes, rest);
  else
    (void)snprintf(text.data(), text.size(), "%u:%02u", minutes, rest);
  return text.data();
}

std::vector<std::string> partsOf(const Advance& advance) {
  std::vector<std::string> parts;
  std::string const files = grouped(advance.files);
  auto const bytes = static_cast<double>(advance.bytes);
  auto const totalBytes = static_cast<double>(advance.totalBytes);
  if (advance.totalFiles == 0) {
    parts = {files + (advance.files == 1 ? " file" : " files"), amount(bytes)};
  } else {
    Unit const unit = unitFor(totalBytes);
    parts = {files + " of " + grouped(advance.totalFiles) +
                 (advance.totalFiles == 1 ? " file" : " files"),
             inUnit(bytes, unit) + " of " + inUnit(totalBytes, unit) + " " + unit.name};
  }
  if (advance.seconds < 1)
    return parts;  // too early for an estimate
  parts.push_back(amount(bytes / advance.seconds) + "/s");
  double const done = bytes + bytesPerFile * static_cast<double>(advance.files);
  double const all = totalBytes + bytesPerFile * static_cast<double>(advance.totalFiles);
  if (done > 0 && advance.totalFiles > 0)
    parts.push_back(timeText(std::max(0.0, all - done) / done * advance.seconds) + " left");
  return parts;
}

// The terminal may be gone; the work continues without it.
void writeToTerminal(const std::string& text) {
  (void)fwrite(text.data(), 1, text.size(), stderr);
}

}  // namespace

std::string progressText(const Advance& advance, std::size_t width) {
  std::string text;
  for (const std::string& part : partsOf(advance)) {
    std::string const separator = text.empty() ? "" : ", ";
    if (text.size() + separator.size() + part.size() > width)
      break;
    text += separator;
    text += part;
  }
  return text;
}

Progress::Progress(bool wanted) : _wanted(wanted && isatty(STDERR_FILENO) == 1) {}

void Progress::total(uint64_t files, uint64_t bytes) {
  _totalFiles = files;
  _totalBytes = bytes;
  _files = 0;
  _bytes = 0;
  _start = Clock::now();
}

void Progress::advance(uint64_t files, uint64_t bytes) {
  _files.fetch_add(files, std::memory_order_relaxed);
  _bytes.fetch_add(bytes, std::memory_order_relaxed);
}

void Progress::show() {
  if (!_wanted)
    return;
  Clock::time_point const now = Clock::now();
  if (now - _last < std::chrono::milliseconds(100))
    return;
  _last = now;
  _shown = true;
  Advance advance;
  advance.files = _files.load(std::memory_order_relaxed);
  advance.bytes = _bytes.load(std::memory_order_relaxed);
  advance.totalFiles = _totalFiles;
  advance.totalBytes = _totalBytes;
  advance.seconds = std::chrono::duration<double>(now - _start).count();
  // One column less than the width, because many terminals start a new line when the last column is
  // written.
  std::size_t const width = terminalWidth(STDERR_FILENO) - 1;
  writeToTerminal("\r" + progressText(advance, width) + "\x1b[K");
}

void Progress::clear() {
  if (_shown)
    writeToTerminal("\r\x1b[K");
  _shown = false;
}

}  // namespace tool
