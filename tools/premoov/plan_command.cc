#include <cstdio>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "header/sample_layout_observer.h"
#include "premoov/command_output.h"
#include "premoov/commands.h"
#include "requests/header_request.h"
#include "requests/request_file.h"

namespace premoov {

namespace {

// One reference as the compact JSON object {"track","offset","size","count","duration","flags"
// [,"displayOffset"]}, printed directly rather than built as a document: a plan of hours has
// millions of them. `track` is the name already in JSON form.
void printReference(std::FILE* out, const std::string& track, const PlannedReference& r) {
  std::fprintf(out,
               "{\"track\":%s,\"offset\":%llu,\"size\":%llu,\"count\":%lu,\"duration\":%lld,"
               "\"flags\":%lu",
               track.c_str(), static_cast<unsigned long long>(r.offset),
               static_cast<unsigned long long>(r.size), static_cast<unsigned long>(r.count),
               static_cast<long long>(r.duration), static_cast<unsigned long>(r.flags));
  if (r.displayOffset) {
    std::fprintf(out, ",\"displayOffset\":%lld", static_cast<long long>(*r.displayOffset));
  }
  std::fputc('}', out);
}

// Keeps what the sample layout tells, in the order it tells it. The references go to a
// temporary file as they come, one line each, so that a plan of hours costs no memory; a
// reference to no samples writes nothing and is left out, as it is of the header.
class LayoutRecorder final : public SampleLayoutObserver {
 public:
  LayoutRecorder() : references_(std::tmpfile()) {}
  ~LayoutRecorder() override {
    if (references_) std::fclose(references_);
  }
  LayoutRecorder(const LayoutRecorder&) = delete;
  LayoutRecorder& operator=(const LayoutRecorder&) = delete;

  void didPlanHeaderRoom(uint32_t headerRoom, uint64_t mdatStart) override {
    headerRoom_ = headerRoom;
    mdatStart_ = mdatStart;
  }
  void didReference(const PlannedReference& reference) override {
    if (reference.count == 0 || !references_) return;
    std::fputs(count_ == 0 ? "\n" : ",\n", references_);
    printReference(references_, trackName(reference.track), reference);
    ++count_;
  }
  void didEndLayout(uint64_t end) override { end_ = end; }

  // Whether every reference so far was kept.
  bool kept() const { return references_ && !std::ferror(references_); }

  // Copies the references kept to `out`.
  void copyReferences(std::ostream& out) {
    if (std::fflush(references_) != 0 || std::fseek(references_, 0, SEEK_SET) != 0) return;
    char buffer[1 << 16];
    size_t n = 0;
    while ((n = std::fread(buffer, 1, sizeof buffer, references_)) > 0) {
      out.write(buffer, static_cast<std::streamsize>(n));
    }
  }

  std::optional<uint32_t> headerRoom_;
  std::optional<uint64_t> mdatStart_;
  std::optional<uint64_t> end_;

 private:
  // The track's name as a JSON string, made once for each of the few tracks.
  const std::string& trackName(const std::string& track) {
    auto found = trackNames_.find(track);
    if (found == trackNames_.end()) found = trackNames_.emplace(track, jsonText(track)).first;
    return found->second;
  }

  std::FILE* references_;
  uint64_t count_ = 0;
  std::map<std::string, std::string> trackNames_;
};

// A value the layout may not have told: null rather than a made-up number.
template <typename T>
OrderedJson orNull(const std::optional<T>& value) {
  return value ? OrderedJson(*value) : OrderedJson(nullptr);
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
  if (!printRefusalUnlessCreated(reply, OutputStyle::kJson, out)) return kExitRefused;
  if (!recorder.kept()) {
    err << "Could not keep the plan's references in a temporary file\n";
    return kExitBadInput;
  }

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
  recorder.copyReferences(out);
  out << "\n]}\n";
  return kExitSuccess;
}

}  // namespace premoov
