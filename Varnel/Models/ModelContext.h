#pragma once

#include "Varnel/Models/FetchDescriptor.h"
#include "Varnel/Models/Meeting.h"
#include "Varnel/Models/Speaker.h"
#include "Varnel/Models/StoreError.h"
#include "Varnel/Models/StoredVoice.h"
#include "Varnel/Models/TranscriptSegment.h"

#include <QObject>

#include <functional>
#include <memory>
#include <vector>

namespace Varnel {

class StoreConnection;
class UnitOfWork;

// A unit of work over the store: records are inserted, changed and removed in memory, and `save` writes the changes,
// by column, in one short transaction. A save that fails keeps everything pending for the next one.
//
// Within one context a record is one object for as long as somebody holds it or it waits for a save. Whatever is linked
// to an inserted record is inserted with it. Main context only.
class ModelContext : public QObject {
    Q_OBJECT

public:
    ~ModelContext() override;

    // A record that is in the context already stays as it is.
    void insert(const std::shared_ptr<Meeting>& meeting);
    void insert(const std::shared_ptr<Speaker>& speaker);
    void insert(const std::shared_ptr<TranscriptSegment>& segment);

    // A removed meeting takes its speakers and segments with it; a removed speaker leaves its segments without one.
    void remove(const std::shared_ptr<Meeting>& meeting);
    void remove(const std::shared_ptr<Speaker>& speaker);
    void remove(const std::shared_ptr<TranscriptSegment>& segment);

    // Fetches see pending changes. Throw StoreError.
    std::vector<std::shared_ptr<Meeting>> fetchMeetings(const FetchDescriptor<Meeting>& descriptor = {}) const;
    std::vector<std::shared_ptr<Speaker>> fetchSpeakers(const FetchDescriptor<Speaker>& descriptor = {}) const;
    std::vector<std::shared_ptr<TranscriptSegment>>
    fetchSegments(const FetchDescriptor<TranscriptSegment>& descriptor = {}) const;
    // The record with that id, or none; indexed.
    std::shared_ptr<Meeting> meeting(const QUuid& id) const;
    std::shared_ptr<Speaker> speaker(const QUuid& id) const;

    // Every speaker with a voice, but for what the filter leaves out, in the order of insertion, pending changes seen:
    // what fetchSpeakers would give, without a record for each. `use` must not use this context. Throws StoreError,
    // also after some were passed.
    void scanVoices(const VoiceFilter& filter, const std::function<void(const StoredVoice&)>& use) const;

    // How many are stored, without loading them; pending changes counted.
    std::size_t meetingCount() const;

    bool hasChanges() const;

    // Writes all pending changes or none. Throws StoreError and keeps them pending.
    void save();

Q_SIGNALS:
    // After a save of this context.
    void saved();
    // After another process changed the store; records without pending changes were read again.
    void changedElsewhere();

private:
    friend class ModelContainer;
    friend class Meeting;
    friend class Speaker;
    friend class TranscriptSegment;
    explicit ModelContext(std::unique_ptr<StoreConnection> connection);
    // Reads again what another process changed, if one did.
    void refresh();
    void tellIfRefreshed();

    std::unique_ptr<UnitOfWork> work_;
};

} // namespace Varnel
