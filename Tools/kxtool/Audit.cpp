#include "AuditOptions.h"
#include "Command.h"

namespace kxtool {

void AddAudit(CLI::App& tool) {
    CLI::App* const audit = tool.add_subcommand("audit", "Make, find, print and sum up audit records");
    audit->require_subcommand(1);
    audit->footer(
        "Lines show times with their zone. Characters that control a terminal or the direction of writing, and bytes\n"
        "that are no UTF-8, are printed as \\n, \\t and \\xHH, a backslash as two. Json writes as JSON does, with\n"
        "U+FFFD for bytes that are no UTF-8 and dates in UTC with a Z; csv is as RFC 4180 says, with dates as they\n"
        "are stored, in UTC.");
    AddAuditEncode(audit);
    AddAuditPrint(audit);
    AddAuditSummary(audit);
    AddAuditReport(audit);
}

}  // namespace kxtool
