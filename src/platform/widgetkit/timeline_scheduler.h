#pragma once

// TimelineScheduler: when each placed widget shows which entry and asks for the next timeline.

#include <cstdint>
#include <map>
#include <optional>
#include <vector>

#include "platform/foundation/date.h"
#include "platform/widgetkit/timeline.h"

namespace km {

// One widget placed on a screen; the host chooses the numbers.
using SlotId = std::uint64_t;

// What the scheduler needs of a timeline entry: its date, and a key of what it draws. Two
// entries with equal keys draw the same pixels, so switching between them needs no redraw. The
// host computes the key from everything the drawing depends on: the record's bytes, the
// language, the drawing settings, and the local day of the moment it is drawn (views compare
// the record's day with today, so the same record draws differently after midnight).
struct ScheduledEntry {
  Date date;
  std::uint64_t contentKey = 0;
  friend bool operator==(const ScheduledEntry&, const ScheduledEntry&) = default;
};

// Decides what a widget host shows and when it asks a provider again, as the phone's widget
// host does. Pure: it is told the time (advance) and the timelines (setTimeline), does no I/O,
// has no clock and no threads; the host drives it from one thread.
//
// Per slot:
// - shown: the latest entry whose date has come; before the first entry's date, the first
//   entry; an empty timeline shows nothing. It switches exactly at an entry's date.
// - a new timeline is asked for when the slot is added, when reload()/reloadAll() is called
//   (a store change, the app's reload call), and when the timeline's policy says: `atEnd` when
//   the last entry's date has come, `after(d)` at d, `never` never. Automatic requests come no
//   sooner than `minimumReloadInterval` seconds after the previous request, so a provider that
//   returns an empty or already-ended timeline does not make the host spin.
// - while a request is outstanding it is not repeated; a reload asked meanwhile is remembered
//   and asked once the outstanding timeline arrives (that one may predate the change).
class TimelineScheduler {
 public:
  explicit TimelineScheduler(double minimumReloadInterval = 60)
      : minimumReloadInterval_(minimumReloadInterval) {}

  // A slot that is already there is left as it is. A new one asks for a timeline at once.
  void addSlot(SlotId slot);
  void removeSlot(SlotId slot);
  bool hasSlot(SlotId slot) const;

  // The provider's answer for `slot`, asked for at `requestedAt` (widget time). Entries are
  // shown in date order whatever order they come in (a stable sort). Ignored for an unknown
  // slot (it may have been removed while the request was running).
  void setTimeline(SlotId slot, std::vector<ScheduledEntry> entries, TimelineReloadPolicy policy,
                   Date requestedAt);

  // Asks for a new timeline of one slot, or of every slot, at the next advance().
  void reload(SlotId slot);
  void reloadAll();
  // Forgets what each slot has drawn, so the next advance() redraws every slot that shows an
  // entry (the drawing settings changed: appearance, device, scale).
  void redrawAll();

  struct Show {
    SlotId slot;
    int index;  // into the slot's timeline (in date order)
    friend bool operator==(const Show&, const Show&) = default;
  };
  struct Step {
    // Slots to draw now, with the entry to draw: only where the content shown changes (a new
    // key, or the first entry of a slot), not every time the shown index moves.
    std::vector<Show> show;
    // Slots whose provider must be asked for a timeline now; answer with setTimeline().
    std::vector<SlotId> requestTimeline;
    // The next moment something is due (an entry's date or an automatic reload); nullopt when
    // nothing is. Call advance() again then, and also after setTimeline(), reload() or addSlot().
    std::optional<Date> wakeAt;
  };
  // What to do at `now`. Lists are in slot order.
  Step advance(Date now);

  // What the page shows of a slot: its entries, the entry shown, when the next automatic
  // reload is due, and whether a timeline is being waited for.
  struct SlotInfo {
    std::vector<ScheduledEntry> entries;
    TimelineReloadPolicy policy;
    std::optional<Date> requestedAt;  // of the current timeline
    std::optional<int> shownIndex;    // as of the last advance()
    std::optional<Date> nextReload;   // nullopt: `never`, or a request outstanding
    bool awaitingTimeline = false;
  };
  std::optional<SlotInfo> info(SlotId slot) const;
  std::vector<SlotId> slots() const;

 private:
  struct Slot {
    std::vector<ScheduledEntry> entries;
    TimelineReloadPolicy policy;
    std::optional<Date> requestedAt;
    std::optional<int> shownIndex;
    std::optional<std::uint64_t> drawnKey;  // what the host was last told to draw
    bool wantTimeline = true;               // to be asked at the next advance()
    bool awaitingTimeline = false;          // asked, not answered
    bool reloadWhileAwaiting = false;
  };
  std::optional<Date> automaticReloadDate(const Slot& slot) const;

  double minimumReloadInterval_;
  std::map<SlotId, Slot> slots_;
};

}  // namespace km
