#pragma once

// The page of audit report: Report/page.html with the places @STYLE@, @SCRIPT@ and @DATA@, and what goes there.

namespace kxtool {

extern const char* const kReportPage;
extern const char* const kReportStyle;
extern const char* const kReportScript;

}  // namespace kxtool
