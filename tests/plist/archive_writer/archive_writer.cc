// Writes keyed archives for checks outside GoogleTest: the sample graph for the plistlib layout
// check, or the fuzz seed corpus.
//   plist_archive_writer OUT.bplist
//   plist_archive_writer --seeds DIR
#include <cstdio>
#include <fstream>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "plist/keyed_archive.h"
#include "plist/keyed_test_support.h"

namespace {

using premoov::KeyedArchiver;
using premoov::Value;
using premoov::keyed_test::TestItem;

bool writeFile(const std::string& path, const std::vector<uint8_t>& bytes) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(reinterpret_cast<const char*>(bytes.data()),
            static_cast<std::streamsize>(bytes.size()));
  out.close();
  if (!out) std::fprintf(stderr, "cannot write %s\n", path.c_str());
  return static_cast<bool>(out);
}

std::vector<uint8_t> asXml(const std::vector<uint8_t>& binary) {
  premoov::PlistNode tree = premoov::keyed_test::parseBinary(binary);
  return premoov::keyed_test::xmlOf(tree.get());
}

bool writeSeeds(const std::string& dir) {
  auto leaf = std::make_shared<TestItem>();
  leaf->name = "leaf";
  leaf->payload = Value::data({1, 2, 3});
  auto item = std::make_shared<TestItem>();
  item->name = "item";
  item->count = 9;
  item->enabled = true;
  item->ratio = -0.5;
  item->payload = Value::dictionary({{"k", Value::date(1)}});
  item->child = leaf;
  const std::vector<std::pair<std::string, Value>> seeds{
      {"sample", premoov::keyed_test::sampleGraph()},
      {"string", Value::string("premoov")},
      {"numbers", Value::array({Value::integer(-1), Value::integer(INT64_MAX), Value::real(0.5),
                                Value::boolean(true)})},
      {"dictionary", Value::dictionary({{"a", Value::array()}, {"$b", Value::data({0})}})},
      {"date", Value::date(725846400)},
      {"item", Value::object(item)},
  };
  bool ok = true;
  for (const auto& [name, root] : seeds) {
    const auto binary = KeyedArchiver::archivedDataWithRootObject(root);
    ok = writeFile(dir + "/" + name + ".bplist", binary) && ok;
    if (name == "sample" || name == "item")
      ok = writeFile(dir + "/" + name + ".xml", asXml(binary)) && ok;
  }
  return ok;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 3 && std::string(argv[1]) == "--seeds") return writeSeeds(argv[2]) ? 0 : 1;
  if (argc != 2) {
    std::fprintf(stderr, "usage: %s OUT | --seeds DIR\n", argv[0]);
    return 2;
  }
  const auto archive =
      KeyedArchiver::archivedDataWithRootObject(premoov::keyed_test::sampleGraph());
  return writeFile(argv[1], archive) ? 0 : 1;
}
