// date_text_child SECONDS OUTPUT: writes the text of a date item for SECONDS since 2001-01-01 UTC
// to OUTPUT, in the locale and time zone this process was started with. The date formatter is
// made once per process, so the metadata item tests start one of these for each locale and zone.

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <optional>
#include <string>

#include "naming/metadata_item.h"
#include "plist/value.h"

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: date_text_child SECONDS OUTPUT\n");
    return 2;
  }
  char* end = nullptr;
  const double seconds = std::strtod(argv[1], &end);
  if (end == argv[1] || *end != '\0') {
    std::fprintf(stderr, "date_text_child: \"%s\" is not a number of seconds\n", argv[1]);
    return 2;
  }
  const premoov::Value date = premoov::Value::date(seconds);
  const auto item = premoov::ZPRMetadataItem::initWithKey("recorded", &date);
  const std::optional<std::string> text = item ? item->stringValue() : std::nullopt;
  if (!text) {
    std::fprintf(stderr, "date_text_child: the date item has no text\n");
    return 1;
  }
  std::ofstream out(argv[2], std::ios::binary);
  out << *text;
  return out.good() ? 0 : 1;
}
