#!/usr/bin/env python3
"""Turns the tracking plan (plan.json and vocabulary.json) into the C++ of the analytics client.

    generate.py PLAN VOCABULARY OUT_DIR

writes, under OUT_DIR/analytics/, the vocabulary's files (see vocabulary.py) and the events':
  avo_events.inc       declarations of the event member functions (included inside class Avo)
  avo_events.cpp       their definitions: thin typed wrappers over AvoEventRunner
  avo_protocol.h       the AvoProtocol concept: the public surface the client must offer
  avo_event_table.h    the table from event name to a caller taking JSON arguments
  avo_event_table.cpp

Every generated function only fills a property list and hands it to the shared, hand-written
AvoEventRunner, so the behaviour of all events lives (and is tested) in one place. The plan is
checked against its vocabulary before anything is written; a bad plan fails the build with a
message naming the event, enumeration or structure.
Files whose content did not change are left untouched, so an edit to one event does not force
unrelated rebuilds. Standard library only.
"""

import json
import os
import re
import sys

import vocabulary
from vocabulary import CPP_KEYWORDS, HEADER, NAMESPACE, PlanError, Vocabulary

# The vocabulary's namespace, relative to NAMESPACE.
VOCABULARY = "avo::"

CALLS = ("logEvent", "setUserProperties", "logEvent+identify", "logEvent+unidentify", "unidentify")
CALL_ENUM = {
    "logEvent": "AvoEventCall::logEvent",
    "setUserProperties": "AvoEventCall::setUserProperties",
    "logEvent+identify": "AvoEventCall::logEventAndIdentify",
    "logEvent+unidentify": "AvoEventCall::logEventAndUnidentify",
    "unidentify": "AvoEventCall::unidentify",
}
PRIMITIVES = {"String", "Int", "Bool", "String?"}
FIXED_TYPES = ("FeatureCategory", "Feature", "FeatureItem", "Action", "FeatureType")
ID_RE = re.compile(r"^[A-Za-z0-9_]{9,10}$")
HASH_RE = re.compile(r"^[0-9a-f]{64}$")
WIRE_RE = re.compile(r"^[a-z][a-z0-9]*(_[a-z0-9]+)*$")
IDENT_RE = re.compile(r"^[a-z][A-Za-z0-9]*$")


def snake(function):
    return re.sub(r"([A-Z])", lambda m: "_" + m.group(1).lower(), function)


# ---------------------------------------------------------------------------------------------
# Plan checking


def check_type(where, type_name, vocab):
    inner = type_name[1:-1] if type_name.startswith("[") and type_name.endswith("]") else None
    if inner is not None:
        if inner != "String" and inner not in vocab.enumerations:
            raise PlanError(f"{where}: a list holds Strings or one enumeration, not {inner!r}")
        return
    if (type_name not in PRIMITIVES and type_name not in vocab.structures
            and type_name not in vocab.enumerations):
        raise PlanError(f"{where}: unknown property type {type_name!r}")


def check_property(where, prop, fixed, vocab):
    for key in ("name", "id", "type") + (("value",) if fixed else ()):
        if key not in prop:
            raise PlanError(f"{where}: property without {key!r}")
    if not WIRE_RE.match(prop["name"]):
        raise PlanError(f"{where}: property name {prop['name']!r} is not lower_snake_case")
    if not ID_RE.match(prop["id"]):
        raise PlanError(f"{where}: property {prop['name']!r} has a malformed id {prop['id']!r}")
    if fixed:
        if prop["type"] not in FIXED_TYPES:
            raise PlanError(f"{where}: fixed property {prop['name']!r} must be one of "
                            f"{', '.join(FIXED_TYPES)}, not {prop['type']!r}")
        if prop["type"] not in vocab.enumerations:
            raise PlanError(f"{where}: the vocabulary has no enumeration {prop['type']!r}")
        if vocab.case_name(prop["type"], prop["value"]) is None:
            raise PlanError(f"{where}: fixed property {prop['name']!r}: {prop['value']!r} is not "
                            f"a raw value of {prop['type']}")
    else:
        check_type(f"{where}: property {prop['name']!r}", prop["type"], vocab)


def check_plan(plan, vocab):
    if not isinstance(plan, dict) or not isinstance(plan.get("events"), list):
        raise PlanError("the plan must be an object with an \"events\" list")
    seen = {"name": {}, "function": {}, "id": {}}
    for index, event in enumerate(plan["events"]):
        where = f"event #{index + 1}"
        for key in ("name", "function", "id", "hash", "userId", "properties", "fixedProperties",
                    "userProperties", "call", "validation"):
            if key not in event:
                raise PlanError(f"{where}: missing {key!r}")
        where = f"event {event['name']!r}"
        if not IDENT_RE.match(event["function"]) or event["function"] in CPP_KEYWORDS:
            raise PlanError(f"{where}: function name {event['function']!r} is not lowerCamelCase")
        if snake(event["function"]) != event["name"]:
            raise PlanError(f"{where}: the event name must be the function name "
                            f"{event['function']!r} in lower_snake_case")
        if not ID_RE.match(event["id"]):
            raise PlanError(f"{where}: malformed event id {event['id']!r}")
        if not HASH_RE.match(event["hash"]):
            raise PlanError(f"{where}: the event hash must be 64 lower-case hex digits")
        for key in ("name", "function", "id"):
            if event[key] in seen[key]:
                raise PlanError(f"{where}: {key} {event[key]!r} already used by event "
                                f"{seen[key][event[key]]!r}")
            seen[key][event[key]] = event["name"]
        if event["call"] not in CALLS:
            raise PlanError(f"{where}: call {event['call']!r} is not one of {', '.join(CALLS)}")
        names = set()
        for group, fixed in (("properties", False), ("fixedProperties", True),
                             ("userProperties", False)):
            for prop in event[group]:
                check_property(where, prop, fixed, vocab)
                if prop["name"] in names:
                    raise PlanError(f"{where}: property {prop['name']!r} appears twice")
                names.add(prop["name"])
        if event["call"] == "setUserProperties" and not event["userProperties"]:
            raise PlanError(f"{where}: setUserProperties needs user properties")
        if event["userProperties"] and event["call"] != "setUserProperties":
            raise PlanError(f"{where}: user properties are only sent by setUserProperties")
        if event["call"] in ("setUserProperties", "logEvent+identify") and not event["userId"]:
            raise PlanError(f"{where}: {event['call']} needs the user id argument")
        if event["call"] == "unidentify" and (event["properties"] or event["fixedProperties"]):
            raise PlanError(f"{where}: an unidentify-only event sends no properties")
        if not isinstance(event["validation"], bool) or not isinstance(event["userId"], bool):
            raise PlanError(f"{where}: \"validation\" and \"userId\" are true or false")


# ---------------------------------------------------------------------------------------------
# C++ output


def cpp_type(type_name, vocab):
    if type_name == "String":
        return "std::string_view"
    if type_name == "Int":
        return "std::int64_t"
    if type_name == "Bool":
        return "bool"
    if type_name == "String?":
        return "std::optional<std::string_view>"
    if type_name.startswith("["):
        inner = type_name[1:-1]
        return f"std::vector<{'std::string' if inner == 'String' else VOCABULARY + inner}>"
    if type_name in vocab.structures:
        return VOCABULARY + vocab.structures[type_name].qualified
    return VOCABULARY + type_name


def param_type(type_name, vocab):
    """Argument type: small values by value, lists and structures by const reference."""
    t = cpp_type(type_name, vocab)
    if type_name.startswith("[") or type_name in vocab.structures:
        return f"const {t}&"
    return t


def arguments(event, vocab):
    """(C++ name, plan type, JSON key) of each argument, in order."""
    args = []
    if event["userId"]:
        args.append(("userId_", "String", "userId"))
    for prop in event["properties"] + event["userProperties"]:
        args.append((vocab.identifier(prop["name"]), prop["type"], prop["name"]))
    return args


def wrapped(head, items, tail, indent=""):
    """`head`, the items joined by ", ", then `tail`: on one line when it fits 100 columns, else
    one item a line under `head`, four spaces further in (long event signatures stay readable)."""
    line = f"{indent}{head}{', '.join(items)}{tail}"
    if len(line) <= 100 or not items:
        return line
    inner = indent + "    "
    return f"{indent}{head}\n" + ",\n".join(inner + item for item in items) + tail


def signature(event, vocab, tail, qualified=False):
    params = [f"{param_type(t, vocab)} {n}" for n, t, _ in arguments(event, vocab)]
    prefix = "Avo::" if qualified else ""
    return wrapped(f"void {prefix}{event['function']}(", params, ")" + tail)


def cpp_string(text):
    return json.dumps(text)  # plan strings are ASCII identifiers; JSON quoting is C++ quoting


def gen_inc(plan, vocab):
    out = [HEADER, "// Event functions of the tracking plan, declared inside class Avo.\n"]
    for event in plan["events"]:
        out.append(signature(event, vocab, ";\n"))
    return "".join(out)


def gen_events_cpp(plan, vocab):
    out = [HEADER, '#include "analytics/avo.h"\n', '#include "analytics/avo_event_runner.h"\n',
           '#include "analytics/avo_protocol.h"\n\n', f"namespace {NAMESPACE} {{\n\n",
           "static_assert(AvoProtocol<Avo>);\n\n", "namespace {\n\n"]
    for event in plan["events"]:
        # Debugger records list the variable properties first, then the fixed ones; user
        # properties get their own record list.
        f = event["function"]
        records = event["properties"] + event["fixedProperties"]
        if records:
            out.append(f"constexpr AvoPropertySpec k{f[0].upper()}{f[1:]}Props[] = {{\n")
            out.extend(f"    {{{cpp_string(p['name'])}, {cpp_string(p['id'])}}},\n"
                       for p in records)
            out.append("};\n")
        if event["userProperties"]:
            out.append(f"constexpr AvoPropertySpec k{f[0].upper()}{f[1:]}UserProps[] = {{\n")
            out.extend(f"    {{{cpp_string(p['name'])}, {cpp_string(p['id'])}}},\n"
                       for p in event["userProperties"])
            out.append("};\n")
        out.append(f"constexpr AvoEventSpec k{f[0].upper()}{f[1:]}{{\n"
                   f"    {cpp_string(event['name'])},\n"
                   f"    {cpp_string(event['id'])},\n"
                   f"    {cpp_string(event['hash'])},\n"
                   f"    {'k' + f[0].upper() + f[1:] + 'Props' if records else '{}'},\n"
                   f"    {'k' + f[0].upper() + f[1:] + 'UserProps' if event['userProperties'] else '{}'},\n"
                   f"    {CALL_ENUM[event['call']]},\n"
                   f"    {'true' if event['validation'] else 'false'},\n"
                   f"    {'true' if event['userId'] else 'false'}}};\n\n")
    out.append("}  // namespace\n\n")
    for event in plan["events"]:
        f = event["function"]
        spec = f"k{f[0].upper()}{f[1:]}"
        out.append(signature(event, vocab, " {\n", qualified=True))
        out.append(f"  AvoEventRunner event(*this, {spec});\n")
        if event["userId"]:
            out.append("  event.setUserId(userId_);\n")
        # The event-property dictionary holds the fixed properties first, then the arguments.
        for prop in event["fixedProperties"]:
            out.append(f"  event.addEventProperty({cpp_string(prop['name'])}, "
                       f"rawValue({VOCABULARY}{prop['type']}::"
                       f"{vocab.case_name(prop['type'], prop['value'])}));\n")
        for prop in event["properties"]:
            out.append(f"  event.addEventProperty({cpp_string(prop['name'])}, "
                       f"{vocab.identifier(prop['name'])});\n")
        for prop in event["userProperties"]:
            out.append(f"  event.addUserProperty({cpp_string(prop['name'])}, "
                       f"{vocab.identifier(prop['name'])});\n")
        out.append("  event.send();\n}\n\n")
    out.append(f"}}  // namespace {NAMESPACE}\n")
    return "".join(out)


def gen_protocol(plan, vocab):
    out = [HEADER, "#pragma once\n\n",
           "// AvoProtocol: the public surface of the analytics client, one operation per plan\n"
           "// event with its typed arguments. The generated definitions check Avo against it.\n\n",
           "#include <cstdint>\n#include <optional>\n#include <string>\n#include <string_view>\n",
           "#include <concepts>\n#include <memory>\n#include <utility>\n#include <vector>\n\n",
           '#include "analytics/avo_custom_destination.h"\n#include "analytics/avo_env.h"\n',
           '#include "analytics/dynamic_object.h"\n#include "analytics/vocabulary.h"\n\n',
           f"namespace {NAMESPACE} {{\n\n",
           "// The two initialisers: (env, destination, strict, noop) and the same with a debugger.\n"
           "template <typename T>\nconcept AvoProtocol =\n"
           "    std::constructible_from<T, AvoEnv, std::shared_ptr<AvoCustomDestination>, bool, "
           "bool> &&\n"
           "    std::constructible_from<T, AvoEnv, std::shared_ptr<AvoCustomDestination>,\n"
           "                            std::shared_ptr<DynamicObject>, bool, bool> &&\n"
           "    requires(T& avo) {\n"]
    for event in plan["events"]:
        args = [f"std::declval<{param_type(t, vocab)}>()" for _, t, _ in arguments(event, vocab)]
        out.append(wrapped(f"avo.{event['function']}(", args, ");\n", indent="  "))
    out.append("};\n\n")
    out.append(f"}}  // namespace {NAMESPACE}\n")
    return "".join(out)


def gen_table_h():
    return HEADER + """#pragma once

// The plan's events by name, each with a caller that takes its arguments as a JSON object keyed by
// the properties' wire names ("userId" for the user id), enumerations by their raw values. Used by
// the playground and by tests that walk the whole plan. The table is immutable static data.

#include <span>
#include <string_view>

#include "analytics/avo_event_runner.h"

namespace km {

// One row per event, in plan order. `params` lists the JSON keys with their plan types.
struct AvoEventEntry {
  std::string_view name;      // the event name, "widget_add"
  std::string_view function;  // the member function, "widgetAdd"
  std::span<const AvoParamInfo> params;
  // Calls the event on `avo`; throws AvoArgumentError for missing, unknown or mistyped arguments.
  void (*call)(Avo& avo, const AvoJsonArgs& args);
};

std::span<const AvoEventEntry> avoEventTable();

// The entry with this event name or function name; nullptr when the plan has no such event.
const AvoEventEntry* findAvoEvent(std::string_view nameOrFunction);

}  // namespace km
"""


def allowed_values(type_name, vocab):
    inner = type_name.strip("[]")
    if inner not in vocab.enumerations:
        return "nullptr"
    return f"&avoRawValues<{VOCABULARY}{inner}>"


def gen_table_cpp(plan, vocab):
    out = [HEADER, '#include "analytics/avo_event_table.h"\n\n', '#include "analytics/avo.h"\n\n',
           f"namespace {NAMESPACE} {{\n\nnamespace {{\n\n"]
    for event in plan["events"]:
        f = event["function"]
        args = arguments(event, vocab)
        if args:
            out.append(f"constexpr AvoParamInfo k{f[0].upper()}{f[1:]}Params[] = {{\n")
            out.extend(f"    {{{cpp_string(key)}, {cpp_string(t)}, {allowed_values(t, vocab)}}},\n"
                       for _, t, key in args)
            out.append("};\n")
        out.append(f"void call{f[0].upper()}{f[1:]}(Avo& avo, const AvoJsonArgs& args) {{\n")
        for name, t, key in args:
            out.append(wrapped(f"auto {name} = args.get<{cpp_type(t, vocab)}>(", [cpp_string(key)],
                               ");\n", indent="  "))
        out.append("  args.rejectUnknown();\n")
        out.append(wrapped(f"avo.{f}(", [n for n, _, _ in args], ");\n", indent="  ") + "}\n\n")
    out.append("constexpr AvoEventEntry kTable[] = {\n")
    for event in plan["events"]:
        f = event["function"]
        cap = f[0].upper() + f[1:]
        params = f"k{cap}Params" if arguments(event, vocab) else "{}"
        out.append(wrapped("{", [cpp_string(event["name"]), cpp_string(f), params, f"&call{cap}"],
                           "},\n", indent="    "))
    out.append("};\n\n}  // namespace\n\n")
    out.append("std::span<const AvoEventEntry> avoEventTable() { return kTable; }\n\n"
               "const AvoEventEntry* findAvoEvent(std::string_view nameOrFunction) {\n"
               "  for (const AvoEventEntry& entry : kTable) {\n"
               "    if (entry.name == nameOrFunction || entry.function == nameOrFunction) {\n"
               "      return &entry;\n    }\n  }\n  return nullptr;\n}\n\n")
    out.append(f"}}  // namespace {NAMESPACE}\n")
    return "".join(out)


def generate(plan, vocab):
    """All generated files, as {relative path: text}, from a plan and its checked Vocabulary."""
    check_plan(plan, vocab)
    return {
        **vocabulary.generate(vocab),
        "analytics/avo_events.inc": gen_inc(plan, vocab),
        "analytics/avo_events.cpp": gen_events_cpp(plan, vocab),
        "analytics/avo_protocol.h": gen_protocol(plan, vocab),
        "analytics/avo_event_table.h": gen_table_h(),
        "analytics/avo_event_table.cpp": gen_table_cpp(plan, vocab),
    }


def write_if_changed(path, text):
    try:
        with open(path, encoding="utf-8") as f:
            if f.read() == text:
                return
    except FileNotFoundError:
        pass
    os.makedirs(os.path.dirname(path), exist_ok=True)
    tmp = path + ".tmp"
    with open(tmp, "w", encoding="utf-8") as f:
        f.write(text)
    os.replace(tmp, path)


def load(path):
    try:
        with open(path, encoding="utf-8") as f:
            return json.load(f)
    except (OSError, ValueError) as error:
        raise PlanError(str(error)) from error


def main(argv):
    if len(argv) != 4:
        print("usage: generate.py PLAN VOCABULARY OUT_DIR", file=sys.stderr)
        return 2
    plan_path, vocabulary_path, out_dir = argv[1:]
    # Each error names the file it is in; nothing is written unless both files are sound.
    path = vocabulary_path
    try:
        vocab = Vocabulary(load(vocabulary_path))
        path = plan_path
        files = generate(load(plan_path), vocab)
    except PlanError as error:
        print(f"{path}: {error}", file=sys.stderr)
        return 1
    for relative, text in files.items():
        write_if_changed(os.path.join(out_dir, relative), text)
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
