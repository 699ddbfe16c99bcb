#pragma once

#include <string_view>

namespace pcicim {

/// Numbers of syslog(3), which the journal's are too.
enum class Severity { kError = 3, kWarning = 4, kNotice = 5, kInformation = 6 };

/// True when standard error is the stream to the systemd journal that JOURNAL_STREAM names.
bool isJournal();

/// Writes "pcicim: TEXT" and a line end to standard error, in one piece, with everything in the
/// text written out that is not for a terminal (cimom::visibleText); to the journal with the
/// severity in front, as `<3>`. Any thread may call it. A standard error that cannot be written to
/// loses the line.
void report(Severity severity, std::string_view text);

/// Writes "pcicim: TEXT" as the last line of the terminal that standard error is, in place of the
/// one that stands there, cut to its width; the next report goes above it. Any thread may call it.
void showStatus(std::string_view text);

/// Takes that line away, where there is one.
void clearStatus();

}  // namespace pcicim
