#pragma once

// The environment a tracking client runs in. Production must never be silenced, development
// reports to the inspector service and prints every event.

#include <string_view>

namespace km {

enum class AvoEnv { prod, dev };

// The number the inspector object is initialised with.
constexpr int envInt(AvoEnv env) {
  return env == AvoEnv::dev ? 1 : 0;
}

constexpr std::string_view envName(AvoEnv env) {
  return env == AvoEnv::dev ? "dev" : "prod";
}

}  // namespace km
