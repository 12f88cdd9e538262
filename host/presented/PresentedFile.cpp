// PresentedFile: a header, the plan made for it, and the sources that present it.
#include "qo_host/PresentedFile.h"

#include <utility>

#include "host/presented/KeyObjects.h"
#include "host/presented/Plan.h"

namespace qo_host {

PresentedFile::PresentedFile(IDataSource* source)
    : source_(source), keys_(std::make_unique<KeyObjects>()) {}

PresentedFile::~PresentedFile() = default;

int PresentedFile::Make(IDataSource* source, const StreamChoice& choice,
                        std::unique_ptr<PresentedFile>* file) {
  file->reset();
  std::unique_ptr<PresentedFile> made(new PresentedFile(source));
  const int status = ReadFileHeader(source, &made->header_);
  if (status < 0) return status;
  made->plan_ = std::make_unique<Plan>(MakePlan(source, made->header_, choice));
  *file = std::move(made);
  return 0;
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
  return std::make_unique<PresentedSource>(source_, std::move(presentation), &damage_);
}

}  // namespace qo_host
