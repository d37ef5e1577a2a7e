#pragma once

// Reading a view tree written as JSON: the format's contract and its two entry points.

#include <nlohmann/json.hpp>
#include <string_view>

#include "base/result.h"
#include "platform/ui/view.h"

namespace km {

// A view tree written as JSON, so that a layout can be tried or tested without compiling C++.
// A node is an object with one key naming the view as the phone's framework names it ("VStack",
// "Text", "Color", "RoundedRectangle", ...) and, optionally, "modifiers": a list of one-key
// objects applied in order ({"padding": 8}, {"frame": {"maxWidth": "infinity"}}, ...).
// docs/view-description.md describes every node and modifier.
//
// A description that does not fit the format gives an Error whose message starts with the JSON
// path of the offending value ("$.VStack.children[2].modifiers[0].frame.width: ..."); nothing
// in a description can crash the process. Nesting is limited to kMaxViewDescriptionDepth
// levels of JSON so that hostile input cannot exhaust the stack.
//
// Pure functions of their input; safe to call from any thread.

inline constexpr int kMaxViewDescriptionDepth = 128;

Result<View> parseViewDescription(const nlohmann::json& description);
// Parses the JSON text first; a syntax error is reported with its byte offset.
Result<View> parseViewDescription(std::string_view text);

}  // namespace km
