// Sends one event through the analytics client to a destination of its own, as a host app would.
#include <iostream>
#include <memory>

#include "analytics/avo.h"

namespace {

struct PrintingDestination : km::AvoCustomDestination {
  void setEnvironment(km::AvoEnv) override {}
  void make(km::AvoEnv, std::optional<std::string>) override {}
  void logEvent(const std::string& name, const km::AvoDictionary&) override {
    std::cout << "logEvent " << name << '\n';
  }
  void setUserProperties(const std::string&, const km::AvoDictionary&) override {}
  void identify(const std::string&) override {}
  void unidentify() override { std::cout << "unidentify\n"; }
  void setUserPropertiesOnce(const std::string&, const km::AvoDictionary&) override {}
  void flush() override {}
};

}  // namespace

int main() {
  km::Avo avo(km::AvoEnv::prod, std::make_shared<PrintingDestination>(), false, false);
  avo.userLogout();
  return 0;
}
