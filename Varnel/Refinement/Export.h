#pragma once

#include "Varnel/Models/Meeting.h"

#include <QByteArray>
#include <QString>

namespace Varnel::Export {

// The transcript of a meeting as text for people and programs. Pure functions of the meeting (and, where a date is
// written out, of the environment's locale and time zone); segments are sorted by start time (stable), speakers keep
// their order. Texts have "\n" line ends and no byte-order mark.

enum class Format { markdown, json, plainText, srt };

// "md", "json", "txt", "srt"
QString fileExtension(Format format);

QString markdown(const Meeting& meeting);
// UTF-8, pretty-printed, without a line end after the last bracket. Throws std::runtime_error for a time that is not
// finite or a date that has no text form.
QByteArray json(const Meeting& meeting);
QString plainText(const Meeting& meeting);
// What stands before the first line of that, with the empty line.
QString plainTextHeader(const Meeting& meeting);
QString srt(const Meeting& meeting);

// Any of them as the bytes of the file.
QByteArray bytes(const Meeting& meeting, Format format);

// "59:59", "1:00:00"
QString durationText(double seconds);
// "01:02:05,900"; milliseconds are truncated.
QString srtTimestamp(double seconds);

// The suggested file name: the title with "-" for each character that a file name should not have, and the extension.
QString fileName(const QString& title, Format format);
QString safeTitle(const QString& title);

// Writes the whole file or nothing: a temporary file beside it, flushed to disk, takes its place. A file that is
// replaced keeps its permissions, a new one is 0600. Throws std::runtime_error "cannot write 'PATH': " and the reason.
void write(const QByteArray& bytes, const QString& path);

} // namespace Varnel::Export
