#include "Varnel/Models/ModelContext.h"

#include "Varnel/Models/UnitOfWork.h"

#include <system_error>

namespace Varnel {

ModelContext::ModelContext(std::unique_ptr<StoreConnection> connection)
    : work_(std::make_unique<UnitOfWork>(*this, std::move(connection))) {}

ModelContext::~ModelContext() = default;

void ModelContext::insert(const std::shared_ptr<Meeting>& meeting) {
    work_->insert(meeting);
}

void ModelContext::insert(const std::shared_ptr<Speaker>& speaker) {
    work_->insert(speaker);
}

void ModelContext::insert(const std::shared_ptr<TranscriptSegment>& segment) {
    work_->insert(segment);
}

void ModelContext::remove(const std::shared_ptr<Meeting>& meeting) {
    work_->remove(meeting);
}

void ModelContext::remove(const std::shared_ptr<Speaker>& speaker) {
    work_->remove(speaker);
}

void ModelContext::remove(const std::shared_ptr<TranscriptSegment>& segment) {
    work_->remove(segment);
}

std::vector<std::shared_ptr<Meeting>> ModelContext::fetchMeetings(const FetchDescriptor<Meeting>& descriptor) const {
    return work_->fetch(descriptor);
}

std::vector<std::shared_ptr<Speaker>> ModelContext::fetchSpeakers(const FetchDescriptor<Speaker>& descriptor) const {
    return work_->fetch(descriptor);
}

std::vector<std::shared_ptr<TranscriptSegment>>
ModelContext::fetchSegments(const FetchDescriptor<TranscriptSegment>& descriptor) const {
    return work_->fetch(descriptor);
}

std::shared_ptr<Meeting> ModelContext::meeting(const QUuid& id) const {
    return work_->withId<Meeting>(id);
}

std::shared_ptr<Speaker> ModelContext::speaker(const QUuid& id) const {
    return work_->withId<Speaker>(id);
}

void ModelContext::scanVoices(const VoiceFilter& filter, const std::function<void(const StoredVoice&)>& use) const {
    work_->scanVoices(filter, use);
}

std::size_t ModelContext::meetingCount() const {
    return work_->meetingCount();
}

bool ModelContext::hasChanges() const {
    return work_->hasChanges();
}

void ModelContext::save() {
    if (!hasChanges()) {
        return;
    }
    try {
        work_->save();
    } catch (const StoreError&) {
        tellIfRefreshed();
        throw;
    }
    if (const auto& file = work_->connection().file(); !file.empty()) {
        // Tells the other processes: unlike the writing itself, this comes when the commit can be seen.
        std::error_code ignored;
        std::filesystem::last_write_time(file, std::filesystem::file_time_type::clock::now(), ignored);
    }
    Q_EMIT saved();
    tellIfRefreshed();
}

void ModelContext::refresh() {
    try {
        work_->refresh();
    } catch (const StoreError&) {
        // Read again at the next change, or by the next save, which reports its failure.
    }
    tellIfRefreshed();
}

void ModelContext::tellIfRefreshed() {
    if (work_->takeHasRefreshed()) {
        Q_EMIT changedElsewhere();
    }
}

} // namespace Varnel
