#include <optional>
#include <vector>

#include "header/sample_layout_observer.h"
#include "premoov/command_output.h"
#include "premoov/commands.h"
#include "premoov/header_request.h"
#include "premoov/request_file.h"

namespace premoov {

namespace {

// Keeps what the sample layout tells, in the order it tells it.
class LayoutRecorder final : public SampleLayoutObserver {
 public:
  void didPlanHeaderRoom(uint32_t headerRoom, uint64_t mdatStart) override {
    headerRoom_ = headerRoom;
    mdatStart_ = mdatStart;
  }
  void didReference(const PlannedReference& reference) override {
    references_.push_back(reference);
  }
  void didEndLayout(uint64_t end) override { end_ = end; }

  std::optional<uint32_t> headerRoom_;
  std::optional<uint64_t> mdatStart_;
  std::optional<uint64_t> end_;
  std::vector<PlannedReference> references_;
};

// A value the layout may not have told: null rather than a made-up number.
template <typename T>
OrderedJson orNull(const std::optional<T>& value) {
  return value ? OrderedJson(*value) : OrderedJson(nullptr);
}

OrderedJson referenceJson(const PlannedReference& reference) {
  OrderedJson json;
  json["track"] = reference.track;
  json["offset"] = reference.offset;
  json["size"] = reference.size;
  json["count"] = reference.count;
  json["duration"] = reference.duration;
  json["flags"] = reference.flags;
  if (reference.displayOffset) json["displayOffset"] = *reference.displayOffset;
  return json;
}

}  // namespace

int runPlanCommand(const std::string& requestPath, std::ostream& out, std::ostream& err) {
  auto request = readRequestFile(requestPath);
  if (!request) {
    err << request.error() << '\n';
    return kExitBadInput;
  }
  LayoutRecorder recorder;
  auto reply = requestHeader(*request, &recorder);
  if (!printRefusalUnlessCreated(reply, out)) return kExitRefused;

  OrderedJson head;
  head["headerRoom"] = orNull(recorder.headerRoom_);
  head["mdatStart"] = orNull(recorder.mdatStart_);
  head["frameSize"] = reply->frameSize;
  head["end"] = orNull(recorder.end_);
  head["fileSize"] = reply->fileSize;
  // One reference a line, so that a plan of hours stays readable and diffable; the whole is
  // still one JSON object. The head is printed without its closing brace to append the list.
  std::string text = jsonText(head);
  text.pop_back();
  out << text << ",\"references\":[";
  const char* separator = "\n";
  for (const PlannedReference& reference : recorder.references_) {
    out << separator << jsonText(referenceJson(reference));
    separator = ",\n";
  }
  out << "\n]}\n";
  return kExitSuccess;
}

}  // namespace premoov
