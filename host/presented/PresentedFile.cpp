// PresentedFile: a header, the plan made for it, and the sources that present it.
#include "qo_host/PresentedFile.h"

#include <utility>

#include "host/presented/KeyObjects.h"
#include "host/presented/Plan.h"

namespace qo_host {

StreamChoice StreamChoice::Only(const StreamHeader& stream) {
  const bool isAudio = stream.kind == StreamKind::kAudio;
  return {isAudio ? stream.number : kNoStream, isAudio ? kNoStream : stream.number};
}

PresentedFile::PresentedFile(IDataSource* source, std::shared_ptr<const FileHeader> header,
                             std::shared_ptr<Damage> damage, const StreamChoice& choice)
    : source_(source),
      header_(std::move(header)),
      damage_(std::move(damage)),
      plan_(std::make_unique<const Plan>(MakePlan(source, *header_, choice))),
      keys_(std::make_unique<KeyObjects>()) {}

PresentedFile::~PresentedFile() = default;

int PresentedFile::Make(IDataSource* source, const StreamChoice& choice,
                        std::unique_ptr<PresentedFile>* file) {
  file->reset();
  auto header = std::make_shared<FileHeader>();
  const int status = ReadFileHeader(source, header.get());
  if (status < 0) return status;
  file->reset(new PresentedFile(source, std::move(header), std::make_shared<Damage>(), choice));
  return 0;
}

std::unique_ptr<PresentedFile> PresentedFile::WithStreams(const StreamChoice& choice) const {
  return std::unique_ptr<PresentedFile>(new PresentedFile(source_, header_, damage_, choice));
}

bool PresentedFile::isPresented() const { return plan_->isPresented; }

const std::vector<PlanFinding>& PresentedFile::findings() const { return plan_->findings; }

const StreamHeader* PresentedFile::audio() const {
  return isPresented() && plan_->audio ? &plan_->audio->header : nullptr;
}

const StreamHeader* PresentedFile::video() const {
  return isPresented() && plan_->video ? &plan_->video->header : nullptr;
}

unsigned long long PresentedFile::packetCount() const {
  return isPresented() ? plan_->data.PacketCount() : 0;
}

bool PresentedFile::IsKeyFrame(unsigned long long timeMs) const {
  return keys_->Has(static_cast<unsigned int>(timeMs));
}

std::unique_ptr<IDataSource> PresentedFile::MakeSource() {
  Presentation presentation = plan_->presentation;
  presentation.streams.keys = keys_.get();
  return std::make_unique<PresentedSource>(source_, std::move(presentation), damage_.get());
}

}  // namespace qo_host
