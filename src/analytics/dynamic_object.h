#pragma once

// Objects the client talks to only by selector name (the debugger and the inspector), and a
// process-wide registry of such classes by name.
//
// The client never knows the concrete type of these objects: it asks respondsTo(selector) first
// and then calls perform(selector, args). Objects are shared (std::shared_ptr) between the host
// and the client; they are called on the client's caller's thread, so an object used from several
// threads guards itself.

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>

#include "analytics/avo_value.h"

namespace km {

class DynamicObject {
 public:
  virtual ~DynamicObject() = default;

  virtual bool respondsTo(std::string_view selector) const = 0;
  // Performs a selector the object responds to, with its arguments in order. The result is a
  // value or null (the nil of the phone platform). Callers check respondsTo first; an object
  // asked for a selector it does not know may return null.
  virtual AvoValue perform(std::string_view selector, std::span<const AvoValue> args) = 0;
};

// Makes a new, plainly initialised instance. A class registered without a factory exists by name
// but cannot be made as an object (as a class that is not an object class on the phone).
using DynamicObjectFactory = std::function<std::shared_ptr<DynamicObject>()>;

// Process-wide; all operations lock, so classes can be registered and looked up from any thread.
class ClassRegistry {
 public:
  static ClassRegistry& shared();

  // Registers or replaces the class under this name.
  void registerClass(std::string name, DynamicObjectFactory factory);
  void unregisterClass(std::string_view name);
  bool contains(std::string_view name) const;
  // The factory of the class, or nullopt when no class has this name. The returned function may
  // be empty (a class that is not an object class).
  std::optional<DynamicObjectFactory> lookup(std::string_view name) const;

 private:
  mutable std::mutex mutex_;
  std::unordered_map<std::string, DynamicObjectFactory> classes_;
};

// Registers a class for the life of the guard and restores what was there before.
class ScopedClassRegistration {
 public:
  ScopedClassRegistration(std::string name, DynamicObjectFactory factory);
  ~ScopedClassRegistration();
  ScopedClassRegistration(const ScopedClassRegistration&) = delete;
  ScopedClassRegistration& operator=(const ScopedClassRegistration&) = delete;

 private:
  std::string name_;
  std::optional<DynamicObjectFactory> previous_;
};

}  // namespace km
