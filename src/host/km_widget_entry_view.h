#pragma once

// KMWidgetEntryView: the one view every widget draws its entries through.

#include <string>

#include "model/nutrition_entry.h"
#include "platform/ui/view.h"
#include "platform/widgetkit/widget_family.h"

namespace km {

// The one view every widget kind draws its entries through: it picks, from the entry's record,
// the widget's kind string and the family being drawn, which widget view shows the entry, or
// the logged-out view when the record says the user is signed out. A plain value; `body()`
// reads the process's platform version and language when called and is safe to call from any
// thread.
struct KMWidgetEntryView {
  NutritionEntry entry;
  WidgetFamily family = WidgetFamily::systemSmall;
  std::string kind;

  // What a signed-out user sees in any family but the circular lock-screen one: the keyhole and
  // an invitation to sign in.
  struct LoggedOutView {
    WidgetFamily family = WidgetFamily::systemSmall;
    View body() const;
  };

  // An unknown kind, or a family the kind does not draw in, gives an empty view.
  View body() const;
};

// Whether the localised over-goal word is long enough (more than four user-perceived
// characters) to need the wider gap of the round lock-screen gauge. Read afresh on every call,
// so a language chosen in the app applies at the next redraw.
bool overGoalWordIsBig();

}  // namespace km
