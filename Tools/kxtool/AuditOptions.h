#pragma once

// What the commands that ask about audit records have in common: their options, and how they end.

#include <CLI/CLI.hpp>
#include <functional>
#include <memory>
#include <string>

#include "AuditText.h"
#include "RecordFilter.h"
#include "RecordSource.h"

namespace kxtool {

struct AuditOptions {
    std::string file;
    FilterOptions filter;
    std::string format = "line";
    bool json = false;
    bool safeCells = false;
    bool count = false;
    bool reverse = false;

    bool follow = false;
    std::string checkpoint;

    std::size_t top = 10;
    std::string output;
};

/// The file, --type and the other filters with their --not- forms, --since, --until, --utc, --limit.
void AddRecordFilter(CLI::App* command, const std::shared_ptr<AuditOptions>& options);

RecordStyle StyleOf(const AuditOptions& options);

/// Visits the wanted records up to the limit, and returns how many they were. Says on the standard error how many were
/// left out for their date.
unsigned long long VisitWanted(const AuditOptions& options, RecordSource& source, const RecordSource::Visitor& visitor);

// One source each: the commands' work.
void AddAuditEncode(CLI::App* audit);
void AddAuditPrint(CLI::App* audit);
void AddAuditSummary(CLI::App* audit);
void AddAuditReport(CLI::App* audit);
void RunAuditFollow(const AuditOptions& options);

}  // namespace kxtool
