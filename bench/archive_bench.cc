// Decoding of large metadata-item archives against libplist's own parse of the same bytes
// (plist_from_bin, which every decode starts with) as the floor, measured in the same run. For
// each archive kind and size N it prints the median decode time, the median floor, their ratio
// and the decode time per element: decoding is linear when the ratio and the time per element
// stay flat as N grows.
//   archive_bench [--benchmark_repetitions=...] [--benchmark_filter=...]
#include <benchmark/benchmark.h>
#include <plist/plist.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "naming/metadata_item.h"
#include "naming/naming_classes.h"
#include "plist/keyed_archive.h"
#include "plist/keyed_test_support.h"

namespace premoov::bench {
namespace {

const std::set<std::string> kRequestClasses{
    "ZPRMetadataItem", "ZPRToken", "NSArray", "NSDictionary", "NSString", "NSNumber", "NSData"};

// A token-list item of `n` distinct per-element texts, and its text alongside.
std::vector<uint8_t> tokenListItem(size_t n) {
  Value::Array texts;
  texts.reserve(n);
  for (size_t i = 0; i < n; ++i) {
    texts.push_back(Value::string(i % 3 == 0 ? "$$Counter." + std::to_string(i % 7)
                                             : "take " + std::to_string(i)));
  }
  const Value list = Value::array(std::move(texts));
  auto item = ZPRMetadataItem::initWithKey("com.example.name", &list);
  item->setStringValue("take 1");
  return KeyedArchiver::archivedDataWithRootObject(Value::object(item));
}

// An array of `n` items of every value type in turn, as a request's settings carry them.
std::vector<uint8_t> itemArray(size_t n) {
  Value::Array items;
  items.reserve(n);
  for (size_t i = 0; i < n; ++i) {
    const std::string key = "com.example.key" + std::to_string(i);
    Value value;
    switch (i % 5) {
      case 0: value = Value::string("value " + std::to_string(i)); break;
      case 1: value = Value::integer(static_cast<int64_t>(i)); break;
      case 2:
        value = Value::real(static_cast<double>(i) / 4, CFNumberType::kCFNumberFloat32Type);
        break;
      case 3: value = Value::date(731340429.0 + static_cast<double>(i)); break;
      default:
        value = Value::array({Value::string("$$Day#EEE"), Value::string(std::to_string(i))});
        break;
    }
    items.push_back(Value::object(ZPRMetadataItem::initWithKey(key, &value)));
  }
  return KeyedArchiver::archivedDataWithRootObject(Value::array(std::move(items)));
}

// An array of `n` references to one date whose dictionary holds `n` junk keys: looked up again at
// every reference, quadratic work.
std::vector<uint8_t> sharedDate(size_t n) {
  keyed_test::RawPlist plist;
  const uint64_t null = plist.string("$null");
  const uint64_t toDate = plist.uid(2);
  const uint64_t array = plist.dictionary(std::vector<std::pair<std::string, uint64_t>>{
      {"NS.objects", plist.array(std::vector<uint64_t>(n, toDate))}, {"$class", plist.uid(3)}});
  const uint64_t junk = plist.integer(0);
  std::vector<std::pair<std::string, uint64_t>> entries;
  for (size_t i = 0; i < n; ++i) {
    // Built in two steps: GCC 12 warns wrongly (-Wrestrict) about "k" + std::to_string(i).
    std::string key = "k";
    key += std::to_string(i);
    entries.emplace_back(std::move(key), junk);
  }
  entries.emplace_back("NS.time", plist.real64(0.5));
  entries.emplace_back("$class", plist.uid(4));
  const uint64_t date = plist.dictionary(entries);
  auto classEntry = [&](const char* name) {
    return plist.dictionary(std::vector<std::pair<std::string, uint64_t>>{
        {"$classname", plist.string(name)},
        {"$classes", plist.array({plist.string(name), plist.string("NSObject")})}});
  };
  const uint64_t arrayClass = classEntry("NSArray");
  const uint64_t dateClass = classEntry("NSDate");
  return plist.keyedArchive({null, array, date, arrayClass, dateClass}, 1);
}

void parse(benchmark::State& state, const std::vector<uint8_t>* data) {
  for (auto _ : state) {
    plist_t root = nullptr;
    plist_from_bin(reinterpret_cast<const char*>(data->data()), static_cast<uint32_t>(data->size()),
                   &root);
    benchmark::DoNotOptimize(root);
    plist_free(root);
  }
}

void decode(benchmark::State& state, const std::vector<uint8_t>* data,
            const std::set<std::string>* classes) {
  for (auto _ : state) {
    auto unarchiver = KeyedUnarchiver::fromData(*data);
    if (!unarchiver) {
      state.SkipWithError(unarchiver.error().c_str());
      return;
    }
    (*unarchiver)->setRequiresSecureCoding(true);
    auto root = (*unarchiver)->decodeTopLevelObjectOfClasses(*classes);
    if (!root) {
      state.SkipWithError((*unarchiver)->error()->message.c_str());
      return;
    }
    benchmark::DoNotOptimize(root);
  }
}

// Keeps the median CPU time per iteration of every benchmark, by name, in microseconds.
class MedianReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& reports) override {
    for (const Run& run : reports) {
      if (run.run_type == Run::RT_Aggregate && run.aggregate_name == "median") {
        medians_[run.run_name.function_name] = run.GetAdjustedCPUTime();
      }
    }
    ConsoleReporter::ReportRuns(reports);
  }
  const std::map<std::string, double>& medians() const { return medians_; }

 private:
  std::map<std::string, double> medians_;
};

struct Case {
  std::string kind;
  size_t n;
  std::vector<uint8_t> data;
  const std::set<std::string>* classes;
};

}  // namespace
}  // namespace premoov::bench

int main(int argc, char** argv) {
  using namespace premoov::bench;
  premoov::registerNamingClasses();
  static const std::set<std::string> kItemClass{"ZPRMetadataItem"};
  static const std::set<std::string> kDateArray{"NSArray", "NSDate"};
  // Built once, before any timing; kept alive while the benchmarks run.
  static std::vector<Case> cases;
  for (size_t n : {1'000, 10'000, 100'000}) {
    cases.push_back({"TokenList", n, tokenListItem(n), &kItemClass});
    // 100,000 items are more than the reader takes: libplist would copy every shared key of
    // every item, past kMaxPlistReadBytes.
    const size_t items = std::min<size_t>(n, 40'000);
    cases.push_back({"ItemArray", items, itemArray(items), &kRequestClasses});
    cases.push_back({"SharedDate", n, sharedDate(n), &kDateArray});
  }
  for (const Case& c : cases) {
    const std::string suffix = c.kind + "/" + std::to_string(c.n);
    benchmark::RegisterBenchmark(("Parse/" + suffix).c_str(), parse, &c.data)
        ->Unit(benchmark::kMicrosecond)
        ->Repetitions(7)
        ->ReportAggregatesOnly(true);
    benchmark::RegisterBenchmark(("Decode/" + suffix).c_str(), decode, &c.data, c.classes)
        ->Unit(benchmark::kMicrosecond)
        ->Repetitions(7)
        ->ReportAggregatesOnly(true);
  }
  benchmark::Initialize(&argc, argv);
  MedianReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();

  std::printf("\n%-22s %10s %12s %12s %8s %12s\n", "archive", "bytes", "parse us", "decode us",
              "ratio", "ns/element");
  for (const Case& c : cases) {
    const std::string suffix = c.kind + "/" + std::to_string(c.n);
    const auto parse = reporter.medians().find("Parse/" + suffix);
    const auto decode = reporter.medians().find("Decode/" + suffix);
    if (parse == reporter.medians().end() || decode == reporter.medians().end()) continue;
    std::printf("%-22s %10zu %12.1f %12.1f %8.2f %12.1f\n", suffix.c_str(), c.data.size(),
                parse->second, decode->second, decode->second / parse->second,
                decode->second * 1000.0 / static_cast<double>(c.n));
  }
  return 0;
}
