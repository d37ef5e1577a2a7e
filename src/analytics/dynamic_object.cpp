// The registry of classes looked up by name, as the platform's object runtime keeps them.

#include "analytics/dynamic_object.h"

namespace km {

ClassRegistry& ClassRegistry::shared() {
  static ClassRegistry registry;
  return registry;
}

void ClassRegistry::registerClass(std::string name, DynamicObjectFactory factory) {
  std::lock_guard lock(mutex_);
  classes_.insert_or_assign(std::move(name), std::move(factory));
}

void ClassRegistry::unregisterClass(std::string_view name) {
  std::lock_guard lock(mutex_);
  classes_.erase(std::string(name));
}

bool ClassRegistry::contains(std::string_view name) const {
  std::lock_guard lock(mutex_);
  return classes_.count(std::string(name)) != 0;
}

std::optional<DynamicObjectFactory> ClassRegistry::lookup(std::string_view name) const {
  std::lock_guard lock(mutex_);
  auto it = classes_.find(std::string(name));
  if (it == classes_.end()) return std::nullopt;
  return it->second;
}

ScopedClassRegistration::ScopedClassRegistration(std::string name, DynamicObjectFactory factory)
    : name_(std::move(name)), previous_(ClassRegistry::shared().lookup(name_)) {
  ClassRegistry::shared().registerClass(name_, std::move(factory));
}

ScopedClassRegistration::~ScopedClassRegistration() {
  if (previous_) {
    ClassRegistry::shared().registerClass(name_, std::move(*previous_));
  } else {
    ClassRegistry::shared().unregisterClass(name_);
  }
}

}  // namespace km
