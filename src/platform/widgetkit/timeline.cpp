// The names of the reload policies.

#include "platform/widgetkit/timeline.h"

namespace km {

std::string_view policyName(const TimelineReloadPolicy& policy) {
  switch (policy.kind) {
    case TimelineReloadPolicy::Kind::atEnd:
      return "atEnd";
    case TimelineReloadPolicy::Kind::after:
      return "after";
    case TimelineReloadPolicy::Kind::never:
      return "never";
  }
  return "atEnd";
}

}  // namespace km
