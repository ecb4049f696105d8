#include "Varnel/CommandLine/AssistantWait.h"

#include <QCoreApplication>
#include <QEvent>
#include <QEventLoop>

namespace Varnel::CommandLine {

void waitForAssistant(AppState& app, std::stop_token stop) {
    QCoreApplication::sendPostedEvents(&app, QEvent::MetaCall); // the run begins from the event loop
    QEventLoop loop;
    QObject::connect(&app, &AppState::aiProcessingMeetingIDsChanged, &loop, [&] {
        if (app.aiProcessingMeetingIDs().isEmpty())
            loop.quit();
    });
    const std::stop_callback cancel(std::move(stop), [&loop] {
        QMetaObject::invokeMethod(
            &loop, [&loop] { loop.quit(); }, Qt::QueuedConnection);
    });
    if (!app.aiProcessingMeetingIDs().isEmpty())
        loop.exec();
}

} // namespace Varnel::CommandLine
