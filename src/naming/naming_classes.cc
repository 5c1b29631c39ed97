#include "naming/naming_classes.h"

#include <memory>
#include <mutex>

#include "naming/metadata_item.h"
#include "naming/token.h"
#include "plist/keyed_archive.h"

namespace premoov {

void registerNamingClasses() {
  static std::once_flag once;
  std::call_once(once, [] {
    KeyedUnarchiver::registerClass(
        "ZPRToken", [](KeyedUnarchiver& coder) -> std::shared_ptr<const ArchivableObject> {
          return ZPRToken::initWithCoder(coder);
        });
    KeyedUnarchiver::registerClass(
        "ZPRMetadataItem", [](KeyedUnarchiver& coder) -> std::shared_ptr<const ArchivableObject> {
          return ZPRMetadataItem::initWithCoder(coder);
        });
  });
}

}  // namespace premoov
