// `kmwidget store ...`: what the main app does to the shared store, for trying the widgets out.

#include <CLI/CLI.hpp>
#include <fstream>
#include <iterator>
#include <sstream>

#include "kmwidget/cli.h"
#include "kmwidget/json_output.h"
#include "model/shared_store.h"
#include "model/widget_nutrition_summary.h"
#include "platform/foundation/user_defaults.h"

namespace km::cli {
namespace {

struct StoreArgs {
  std::string file;
  bool raw = false;
  std::string key;
  std::string value;
};

Result<UserDefaults> openForWriting() {
  return UserDefaults::open(kAppGroupSuiteName, UserDefaults::Access::readWrite);
}

std::optional<std::string> readInput(const Io& io, const std::string& file) {
  if (file == "-") {
    return std::string(std::istreambuf_iterator<char>(io.in), std::istreambuf_iterator<char>());
  }
  std::ifstream in(file, std::ios::binary);
  if (!in) return std::nullopt;
  std::ostringstream buffer;
  buffer << in.rdbuf();
  return buffer.str();
}

int setValue(const Io& io, const std::string& key, const StoreValue& value) {
  Result<UserDefaults> store = openForWriting();
  if (!store.ok()) return fail(io, store.error().message);
  if (Status s = store->set(key, value); !s.ok()) return fail(io, s.error().message);
  Json j;
  j["key"] = key;
  j["stored"] = true;
  printJson(io.out, j);
  return kExitOk;
}

Json valueJson(const std::string& key, const std::optional<StoreValue>& value) {
  Json j;
  j["key"] = key;
  if (!value) {
    j["type"] = nullptr;
    j["value"] = nullptr;
    return j;
  }
  std::visit(
      [&](const auto& v) {
        using T = std::decay_t<decltype(v)>;
        if constexpr (std::is_same_v<T, Data>) {
          j["type"] = "data";
          j["bytes"] = v.size();
          // Shown as text (invalid UTF-8 replaced when printed): records are JSON text.
          j["value"] = std::string(v.begin(), v.end());
        } else if constexpr (std::is_same_v<T, std::string>) {
          j["type"] = "string";
          j["value"] = v;
        } else if constexpr (std::is_same_v<T, std::int64_t>) {
          j["type"] = "integer";
          j["value"] = v;
        } else if constexpr (std::is_same_v<T, double>) {
          j["type"] = "double";
          j["value"] = v;
        } else {
          j["type"] = "bool";
          j["value"] = v;
        }
      },
      *value);
  return j;
}

}  // namespace

void addStoreCommands(CLI::App& app, Action& action) {
  auto args = std::make_shared<StoreArgs>();
  CLI::App* store = app.add_subcommand("store", "Read and write the shared store");
  store->require_subcommand(1);

  CLI::App* setSummary = store->add_subcommand(
      "set-summary", "Store a summary record (JSON file, or - for standard input)");
  setSummary->add_option("FILE", args->file, "The record's JSON, or -")->required();
  setSummary->add_flag("--raw", args->raw,
                       "Store the bytes unchanged, even when they do not decode");
  setSummary->callback([args, &action] {
    action = [args](const Io& io) {
      auto bytes = readInput(io, args->file);
      if (!bytes) return fail(io, args->file + ": cannot be read");
      if (!args->raw) {
        auto decoded = decodeSummary(*bytes);
        if (!decoded.ok())
          return fail(io, "the record does not decode: " + decoded.error().message);
      }
      return setValue(io, kNutritionSummaryKey, Data(bytes->begin(), bytes->end()));
    };
  });

  CLI::App* setLanguage =
      store->add_subcommand("set-language", "Store the language chosen in the app");
  setLanguage->add_option("CODE", args->value, "A language folder name of the bundle")->required();
  setLanguage->callback([args, &action] {
    action = [args](const Io& io) { return setValue(io, kLanguageUserSelectedKey, args->value); };
  });

  CLI::App* setString = store->add_subcommand("set-string", "Store a string value");
  setString->add_option("KEY", args->key)->required();
  setString->add_option("VALUE", args->value)->required();
  setString->callback([args, &action] {
    action = [args](const Io& io) { return setValue(io, args->key, args->value); };
  });

  CLI::App* get = store->add_subcommand("get", "Show the value under a key, with its type");
  get->add_option("KEY", args->key)->required();
  get->callback([args, &action] {
    action = [args](const Io& io) {
      Result<UserDefaults> store =
          UserDefaults::open(kAppGroupSuiteName, UserDefaults::Access::read);
      if (!store.ok()) return fail(io, store.error().message);
      auto value = store->object(args->key);
      if (!value.ok()) return fail(io, value.error().message);
      printJson(io.out, valueJson(args->key, value.value()));
      return kExitOk;
    };
  });

  CLI::App* remove = store->add_subcommand("delete", "Remove the value under a key");
  remove->add_option("KEY", args->key)->required();
  remove->callback([args, &action] {
    action = [args](const Io& io) {
      Result<UserDefaults> store = openForWriting();
      if (!store.ok()) return fail(io, store.error().message);
      if (Status s = store->removeObject(args->key); !s.ok()) return fail(io, s.error().message);
      Json j;
      j["key"] = args->key;
      j["deleted"] = true;
      printJson(io.out, j);
      return kExitOk;
    };
  });

  CLI::App* path = store->add_subcommand("path", "Show the app group's suite name and store file");
  path->callback([&action] {
    action = [](const Io& io) {
      Json j;
      j["suite"] = kAppGroupSuiteName;
      j["path"] = UserDefaults::storePath(kAppGroupSuiteName);
      printJson(io.out, j);
      return kExitOk;
    };
  });
}

}  // namespace km::cli
