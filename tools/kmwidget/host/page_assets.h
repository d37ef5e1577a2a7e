#pragma once

// pageAsset: the host page's files, built into the program.

#include <string_view>

#include "kmwidget/host/http_server.h"

namespace km::host {

// The page's files, built into the program so the host needs nothing beside it: "index.html",
// "app.js" and "style.css". A 404 for any other name.
HttpResponse pageAsset(std::string_view name);

}  // namespace km::host
