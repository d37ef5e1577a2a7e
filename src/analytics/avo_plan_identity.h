#pragma once

// The identifiers of the tracking plan that travel with every inspector report and with the
// inspector and debugger set-up. They belong to the plan, not to the code: these are the values
// of the plan this client is built from.

#include <string_view>

namespace km {

struct AvoPlanIdentity {
  std::string_view inspectorKey;  // 20 characters, same in every environment
  std::string_view schemaId;      // 20 characters
  std::string_view accountId;     // "ac", 20 characters
  std::string_view branchId;      // "br", 21 characters
  std::string_view sourceId;      // "so", 9 characters
};

inline constexpr AvoPlanIdentity kAvoPlanIdentity{"Qm4rTz8LwPa2Xc6Vn0Jd", "Hs7Kp2Yq9Ue3Wb5Nt1Lf",
                                                  "Fz3Rb8Nk5Gc1Vm7Tq2Yh", "Pd6Wj2Xs9Lr4Ck8Mb3Zae",
                                                  "Tq4LmXw7C"};

}  // namespace km
