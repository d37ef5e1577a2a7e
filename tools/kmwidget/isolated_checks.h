#pragma once

// runIsolated: checks run in child processes, and why any of them stopped.

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace km::cli {

// A check that ended the process it ran in, and why.
struct Stop {
  std::size_t index;
  std::string reason;  // the fatal error's reason, or how the process ended
};

// Says which check is about to run, so that a stop is put down to the right one.
using MarkCheck = std::function<void(std::size_t index)>;

// Runs checks 0 ... count-1 in child processes, so that a check may stop its process (a fatal
// error, any abort) without harm to the caller and without leaving state behind. `run(first,
// mark)` runs checks first ... count-1 in order, calling `mark(i)` before check i; when one
// stops its child, the rest run in a fresh child. Returns the checks that stopped, in order.
// The caller should be single-threaded (it forks).
std::vector<Stop> runIsolated(
    std::size_t count, const std::function<void(std::size_t first, const MarkCheck& mark)>& run);

}  // namespace km::cli
