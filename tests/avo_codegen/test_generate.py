"""Tests of the tracking-plan generator on a small plan, and of the shipped plan's data."""

import copy
import io
import json
import os
import sys
import tempfile
import unittest
from contextlib import redirect_stderr

SOURCE_DIR = os.environ.get(
    "KM_SOURCE_DIR", os.path.join(os.path.dirname(__file__), os.pardir, os.pardir))
sys.path.insert(0, os.path.join(SOURCE_DIR, "tools", "avo-codegen"))

import generate  # noqa: E402

HASH = "ab" * 32
VOCABULARY_PATH = os.path.join(SOURCE_DIR, "tools", "avo-codegen", "vocabulary.json")
with open(VOCABULARY_PATH) as vocabulary_file:
    VOCABULARY_DATA = json.load(vocabulary_file)
VOCABULARY = generate.Vocabulary(VOCABULARY_DATA)


def fixed(category, feature, item, action, feature_type):
    names = ("feature_category", "feature", "feature_item", "action", "feature_type")
    types = ("FeatureCategory", "Feature", "FeatureItem", "Action", "FeatureType")
    return [{"name": n, "id": f"fix{i}xxxxxx", "type": t, "value": v}
            for i, (n, t, v) in enumerate(zip(names, types,
                                               (category, feature, item, action, feature_type)))]


def small_plan():
    return {"events": [
        {"name": "widget_add", "function": "widgetAdd", "id": "1Z3E51Um7N", "hash": HASH,
         "userId": False,
         "properties": [{"name": "widget", "id": "VbTYpkc129", "type": "[Widget]"}],
         "fixedProperties": fixed("widgets", "export", "open_widget", "delete", "free"),
         "userProperties": [], "call": "logEvent", "validation": False},
        {"name": "language_set", "function": "languageSet", "id": "5eMizuVa3X", "hash": HASH,
         "userId": True, "properties": [], "fixedProperties": [],
         "userProperties": [{"name": "app_language_code", "id": "5eMizuVa3e",
                             "type": "AppLanguageCode"}],
         "call": "setUserProperties", "validation": False},
        {"name": "meal_submit", "function": "mealSubmit", "id": "VWIBJo8n4", "hash": HASH,
         "userId": False,
         "properties": [{"name": "do", "id": "p1xxxxxxxx", "type": "Int"},
                        {"name": "a_b_test_stream", "id": "p2xxxxxxxx", "type": "String?"},
                        {"name": "content", "id": "p3xxxxxxxx",
                         "type": "SmartAssistantInputContent"},
                        {"name": "nutrients", "id": "p4xxxxxxxx", "type": "FoodNutrients"},
                        {"name": "goals", "id": "p5xxxxxxxx", "type": "[String]"},
                        {"name": "done", "id": "p6xxxxxxxx", "type": "Bool"}],
         "fixedProperties": [], "userProperties": [], "call": "logEvent+unidentify",
         "validation": True},
    ]}


class GeneratedCodeTest(unittest.TestCase):
    def setUp(self):
        self.files = generate.generate(small_plan(), VOCABULARY)

    def test_declarations_have_typed_arguments_in_plan_order(self):
        inc = self.files["analytics/avo_events.inc"]
        self.assertIn("void widgetAdd(const std::vector<avo::Widget>& widget);", inc)
        self.assertIn("void languageSet(std::string_view userId_, "
                      "avo::AppLanguageCode appLanguageCode);", inc)
        # Keywords get a trailing underscore; snake_case wire names become lowerCamelCase.
        # A signature longer than a line gets one argument a line.
        self.assertIn("void mealSubmit(\n    std::int64_t do_,\n    std::optional<std::string_view> "
                      "aBTestStream,\n    const avo::SmartAssistantInputContent& content,\n"
                      "    const avo::group::FoodNutrients& nutrients,\n"
                      "    const std::vector<std::string>& goals,\n    bool done);", inc)

    def test_definition_puts_fixed_properties_first_and_checks_raw_values_by_case(self):
        cpp = self.files["analytics/avo_events.cpp"]
        body = cpp[cpp.index("void Avo::widgetAdd("):]
        body = body[:body.index("\n}\n")]
        expected = [
            'event.addEventProperty("feature_category", rawValue(avo::FeatureCategory::widgets));',
            'event.addEventProperty("feature", rawValue(avo::Feature::export_));',
            'event.addEventProperty("feature_item", rawValue(avo::FeatureItem::openWidget));',
            'event.addEventProperty("action", rawValue(avo::Action::delete_));',
            'event.addEventProperty("feature_type", rawValue(avo::FeatureType::free));',
            'event.addEventProperty("widget", widget);',
            "event.send();",
        ]
        lines = [line.strip() for line in body.splitlines()[2:]]
        self.assertEqual(lines, expected)

    def test_spec_lists_debugger_records_variable_first_and_the_event_data(self):
        cpp = self.files["analytics/avo_events.cpp"]
        records = cpp[cpp.index("kWidgetAddProps[] = {"):]
        records = records[:records.index("};")]
        self.assertLess(records.index('"widget", "VbTYpkc129"'), records.index('"feature_category"'))
        spec = cpp[cpp.index("constexpr AvoEventSpec kMealSubmit{"):]
        spec = [s.strip().rstrip(",") for s in spec[:spec.index("};")].splitlines()[1:]]
        self.assertEqual(spec, ['"meal_submit"', '"VWIBJo8n4"', f'"{HASH}"', "kMealSubmitProps",
                                "{}", "AvoEventCall::logEventAndUnidentify", "true", "false"])
        self.assertIn("kLanguageSetUserProps", cpp)
        self.assertIn('event.setUserId(userId_);\n  event.addUserProperty("app_language_code", '
                      "appLanguageCode);", cpp)

    def test_table_reads_json_keys_and_lists_parameters(self):
        table = self.files["analytics/avo_event_table.cpp"]
        self.assertIn('{"userId", "String", nullptr},\n'
                      '    {"app_language_code", "AppLanguageCode", '
                      '&avoRawValues<avo::AppLanguageCode>},', table)
        self.assertIn('auto do_ = args.get<std::int64_t>("do");', table)
        self.assertIn('{"widget_add", "widgetAdd", kWidgetAddParams, &callWidgetAdd},', table)
        self.assertIn("avo.mealSubmit(do_, aBTestStream, content, nutrients, goals, done);", table)

    def test_an_event_without_properties_runs_the_shared_template(self):
        plan = small_plan()
        plan["events"].append({
            "name": "user_logout", "function": "userLogout", "id": "bJaNBZcQB_", "hash": HASH,
            "userId": False, "properties": [], "fixedProperties": [], "userProperties": [],
            "call": "unidentify", "validation": False})
        files = generate.generate(plan, VOCABULARY)
        self.assertIn("void userLogout();", files["analytics/avo_events.inc"])
        self.assertIn("void Avo::userLogout() {\n  AvoEventRunner event(*this, kUserLogout);\n"
                      "  event.send();\n}", files["analytics/avo_events.cpp"])
        self.assertIn('{"user_logout", "userLogout", {}, &callUserLogout},',
                      files["analytics/avo_event_table.cpp"])

    def test_protocol_names_every_event(self):
        protocol = self.files["analytics/avo_protocol.h"]
        for function in ("widgetAdd", "languageSet", "mealSubmit"):
            self.assertIn(f"avo.{function}(", protocol)
        self.assertIn("std::constructible_from<T, AvoEnv, std::shared_ptr<AvoCustomDestination>, "
                      "bool, bool>", protocol)
        self.assertIn("avo.languageSet(std::declval<std::string_view>(), "
                      "std::declval<avo::AppLanguageCode>());", protocol)


class PlanCheckTest(unittest.TestCase):
    def test_bad_plans_are_rejected_with_the_event_named(self):
        def edit(index, change):
            plan = small_plan()
            change(plan["events"][index])
            return plan

        cases = [
            ("duplicate id", edit(1, lambda e: e.update(id="1Z3E51Um7N")), "already used"),
            ("short hash", edit(0, lambda e: e.update(hash="abc")), "64 lower-case hex"),
            ("upper-case hash", edit(0, lambda e: e.update(hash="AB" * 32)), "64 lower-case hex"),
            ("id alphabet", edit(0, lambda e: e.update(id="1Z3E51Um7-")), "malformed event id"),
            ("name and function disagree", edit(0, lambda e: e.update(name="widget_added")),
             "lower_snake_case"),
            ("unknown call", edit(0, lambda e: e.update(call="track")), "is not one of"),
            ("user properties without user id", edit(1, lambda e: e.update(userId=False)),
             "needs the user id"),
            ("user properties on logEvent", edit(1, lambda e: e.update(call="logEvent")),
             "only sent by setUserProperties"),
            ("fixed property of another type",
             edit(0, lambda e: e["fixedProperties"][0].update(type="Widget")), "must be one of"),
            ("list of a structure",
             edit(2, lambda e: e["properties"][0].update(type="[FoodNutrients]")),
             "a list holds"),
            ("property twice",
             edit(0, lambda e: e["properties"].append(dict(e["properties"][0]))), "twice"),
            ("missing key", edit(0, lambda e: e.pop("validation")), "missing 'validation'"),
        ]
        for label, plan, message in cases:
            with self.subTest(label):
                with self.assertRaises(generate.PlanError) as raised:
                    generate.generate(plan, VOCABULARY)
                self.assertIn(message, str(raised.exception))

    def test_main_reports_a_bad_plan_and_writes_nothing(self):
        with tempfile.TemporaryDirectory() as tmp:
            plan = small_plan()
            plan["events"][0]["hash"] = "x"
            path = os.path.join(tmp, "plan.json")
            with open(path, "w") as f:
                json.dump(plan, f)
            err = io.StringIO()
            with redirect_stderr(err):
                status = generate.main(["generate.py", path, VOCABULARY_PATH,
                                        os.path.join(tmp, "out")])
            self.assertEqual(status, 1)
            self.assertIn("event 'widget_add'", err.getvalue())
            self.assertFalse(os.path.exists(os.path.join(tmp, "out")))

    def test_unchanged_output_is_not_rewritten(self):
        with tempfile.TemporaryDirectory() as tmp:
            path = os.path.join(tmp, "plan.json")
            with open(path, "w") as f:
                json.dump(small_plan(), f)
            out = os.path.join(tmp, "out")
            self.assertEqual(generate.main(["generate.py", path, VOCABULARY_PATH, out]), 0)
            inc = os.path.join(out, "analytics", "avo_events.inc")
            os.utime(inc, (1, 1))
            self.assertEqual(generate.main(["generate.py", path, VOCABULARY_PATH, out]), 0)
            self.assertEqual(os.stat(inc).st_mtime, 1)


def small_vocabulary():
    return {
        "caseNames": {"reserved": ["is"]},
        "caseLists": {"state": ["no_data", "correct"]},
        "enumerations": [
            {"name": "Reminder", "cases": ["snacks/other", "weigh_in", "delete"]},
            {"name": "Code", "cases": ["PT", "PT-PT", "IS"], "comment": "Upper-case codes."},
            {"name": "Region", "cases": "state", "insert": [{"after": "no_data", "cases": ["x"]}]},
            {"name": "Energy", "cases": "state"},
            {"name": "Salt", "cases": "state"},
        ],
        "structures": [
            {"name": "Nutrients", "namespace": "group",
             "fields": [{"name": "energy", "type": "Energy?"}, {"name": "salt", "type": "Salt"}]},
            {"name": "Input", "fields": [{"name": "code", "type": "Code"},
                                         {"name": "user_input", "type": "String"}]},
        ],
    }


class VocabularyTest(unittest.TestCase):
    def setUp(self):
        self.files = generate.vocabulary.generate(generate.Vocabulary(small_vocabulary()))

    def test_case_names_follow_the_naming_rule(self):
        header = self.files["analytics/vocabulary.h"]
        self.assertIn("enum class Reminder {\n  snacksOther,\n  weighIn,\n  delete_,\n};", header)
        self.assertIn("// Upper-case codes.\nenum class Code {\n  pt,\n  ptminusPT,\n  is_,\n};",
                      header)

    def test_raw_values_are_tables_shared_by_equal_enumerations(self):
        source = self.files["analytics/vocabulary.cpp"]
        self.assertIn('kReminderRaw = {\n    "snacks/other",\n    "weigh_in",\n    "delete",\n};',
                      source)
        self.assertIn('kRegionRaw = {\n    "no_data",\n    "x",\n    "correct",\n};', source)
        self.assertIn('return rawAt(kEnergyRaw, value, "Salt");', source)
        self.assertIn("return lookup<Salt>(kEnergyRaw, raw);", source)
        self.assertEqual(source.count("std::array<std::string_view, 2>"), 1)

    def test_structures_declared_converted_and_read_field_by_field(self):
        header = self.files["analytics/vocabulary.h"]
        self.assertIn("namespace group {\n\nstruct Nutrients {\n  std::optional<Energy> energy;\n"
                      "  Salt salt;\n", header)
        self.assertIn("struct Input {\n  Code code;\n  std::string userInput;\n", header)
        self.assertIn("struct group {\n  using Nutrients = avo::group::Nutrients;\n};",
                      self.files["analytics/avo_vocabulary.inc"])
        source = self.files["analytics/avo_structures.cpp"]
        # An optional field without a value is left out; the others are always sent.
        self.assertIn('  if (value.energy) {\n    fields.set("energy", toAvoValue(*value.energy));',
                      source)
        self.assertIn('  fields.set("salt", toAvoValue(value.salt));', source)
        self.assertIn('  fields.set("user_input", AvoValue(value.userInput));', source)
        self.assertIn('fields.get<std::optional<avo::Energy>>("energy");', source)
        self.assertIn('fields.get<std::string>("user_input");\n  fields.rejectUnknown();', source)

    def test_bad_vocabularies_are_rejected_with_the_type_named(self):
        def edit(change):
            data = small_vocabulary()
            change(data)
            return data

        enums = lambda d: d["enumerations"]  # noqa: E731
        fields = lambda d: d["structures"][0]["fields"]  # noqa: E731
        cases = [
            ("no such list", edit(lambda d: enums(d)[3].update(cases="states")),
             "'Energy': no case list 'states'"),
            ("insert after a missing case", edit(lambda d: enums(d)[2]["insert"][0].update(
                after="nope")), "cannot insert after 'nope'"),
            ("two raw values, one name", edit(lambda d: enums(d)[0]["cases"].append(
                "snacks_other")), "give the same case 'snacksOther'"),
            ("malformed raw value", edit(lambda d: enums(d)[0]["cases"].append("a b")),
             "malformed raw value 'a b'"),
            ("empty enumeration", edit(lambda d: enums(d)[0].update(cases=[])), "non-empty"),
            ("enumeration twice", edit(lambda d: enums(d).append(dict(enums(d)[0]))),
             "defined twice"),
            ("unknown field type", edit(lambda d: fields(d)[0].update(type="Fat?")),
             "'Nutrients': field 'energy' has unknown type 'Fat?'"),
            ("field twice", edit(lambda d: fields(d).append(dict(fields(d)[0]))), "twice"),
        ]
        for label, data, message in cases:
            with self.subTest(label):
                with self.assertRaises(generate.PlanError) as raised:
                    generate.Vocabulary(data)
                self.assertIn(message, str(raised.exception))

    def test_the_plan_is_checked_against_the_vocabulary(self):
        for label, change, message in [
                ("fixed value that is no case",
                 lambda e: e["fixedProperties"][1].update(value="exports"), "not a raw value"),
                ("unknown enumeration", lambda e: e["properties"][0].update(type="Widgets"),
                 "unknown property type 'Widgets'"),
                ("list of an unknown enumeration",
                 lambda e: e["properties"][0].update(type="[Widgets]"), "a list holds")]:
            with self.subTest(label):
                plan = small_plan()
                change(plan["events"][0])
                with self.assertRaises(generate.PlanError) as raised:
                    generate.generate(plan, VOCABULARY)
                self.assertIn(message, str(raised.exception))


class ShippedPlanTest(unittest.TestCase):
    """The data the product documents must reach the generated client unchanged."""

    @classmethod
    def setUpClass(cls):
        with open(os.path.join(SOURCE_DIR, "tools", "avo-codegen", "plan.json")) as f:
            cls.plan = json.load(f)
        cls.events = {e["name"]: e for e in cls.plan["events"]}

    def test_plan_is_valid_and_complete(self):
        generate.check_plan(copy.deepcopy(self.plan), VOCABULARY)
        self.assertEqual(len(self.plan["events"]), 171)
        functions = [e["function"] for e in self.plan["events"]]
        self.assertEqual(functions[:7], ["registrationComplete", "userLogin", "userLogout",
                                         "accountDelete", "regionSet", "languageSet",
                                         "userPropertiesSet"])
        self.assertEqual(functions[-1], "pageViewFeatureDetailCustomMeal")

    def test_destination_calls_and_user_properties(self):
        calls = {name: e["call"] for name, e in self.events.items() if e["call"] != "logEvent"}
        self.assertEqual(calls, {
            "user_logout": "unidentify", "account_delete": "logEvent+unidentify",
            "region_set": "setUserProperties", "language_set": "setUserProperties",
            "user_properties_set": "setUserProperties", "profile_created": "logEvent+identify"})
        user = {name: [(p["name"], p["id"] if p["name"] == "app_language_code" else p["type"])
                       for p in e["userProperties"]]
                for name, e in self.events.items() if e["userProperties"]}
        self.assertEqual(user, {
            "region_set": [("app_region_code", "AppRegionCode")],
            "language_set": [("app_language_code", "5eMizuVa3e")],
            "user_properties_set": [("app_language_code", "5eMizuVa3e"),
                                    ("app_region_code", "AppRegionCode")]})

    def test_the_ten_validated_events(self):
        validated = [e["name"] for e in self.plan["events"] if e["validation"]]
        self.assertCountEqual(validated, [
            "smart_assistant_meal_submit", "smart_assistant_add_to_diary",
            "smart_assistant_error_no_match_try_again",
            "smart_assistant_error_no_match_back_to_diary",
            "page_view_smart_assistant_meal_results",
            "smart_assistant_meal_complete_survey_submit",
            "page_view_smart_assistant_error_no_food_match",
            "page_view_smart_assistant_error_time_out",
            "smart_assistant_error_time_out_try_again",
            "smart_assistant_error_time_out_back_to_diary"])

    def test_a_property_keeps_one_id_across_events(self):
        ids = {}
        for event in self.plan["events"]:
            for prop in event["properties"] + event["fixedProperties"] + event["userProperties"]:
                self.assertEqual(ids.setdefault(prop["name"], prop["id"]), prop["id"],
                                 f"{event['name']}: {prop['name']}")


if __name__ == "__main__":
    unittest.main()
