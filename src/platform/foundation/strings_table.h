#pragma once

// StringsTable: a localisation table, read from a .strings file.

#include <string>
#include <string_view>
#include <unordered_map>

#include "base/result.h"

namespace km {

// A localisation table: key to text, both UTF-8. A later duplicate key replaces an earlier one.
using StringsTable = std::unordered_map<std::string, std::string>;

// Parses the text of a `.strings` file: `"key" = "value";` pairs (unquoted words are accepted
// for either side), `//` and `/* */` comments, the C escapes (\n \t \r \" \\ \' \a \b \f \v,
// octal \ooo) and \UXXXX / \uXXXX (surrogate pairs joined). The bytes may be UTF-8 (with or
// without a byte-order mark) or UTF-16 with a byte-order mark. `name` is used in error messages,
// which read "<name>:<line>: <what is wrong>". Pure function; thread-safe.
Result<StringsTable> parseStringsTable(std::string_view bytes, std::string_view name);

// Reads and parses a file; a missing or unreadable file is an error too.
Result<StringsTable> loadStringsTable(const std::string& path);

}  // namespace km
