// Serving the page's built-in files.

#include "kmwidget/host/page_assets.h"

#include "kmwidget/host/page_files.h"

namespace km::host {

HttpResponse pageAsset(std::string_view name) {
  for (const PageFile& file : kPageFiles) {
    if (file.name != name) continue;
    HttpResponse r;
    r.contentType = std::string(file.contentType) + "; charset=utf-8";
    r.body = file.text;
    return r;
  }
  return HttpResponse::error(404, "no such file");
}

}  // namespace km::host
