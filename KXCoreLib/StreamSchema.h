#pragma once

// What a stream file holds, as SQL: docs/stream-file.md tells it byte by byte. Everything that is asked of the table
// stands here, for the library and for programs that look into the file beside it.

namespace KXCore::StreamSchema {

inline constexpr char kCreateTable[] = "CREATE TABLE IF NOT EXISTS stream01 (id INTEGER PRIMARY KEY, attributes BLOB)";

// ---- What the library runs

inline constexpr char kBegin[] = "BEGIN TRANSACTION";
inline constexpr char kCommit[] = "COMMIT TRANSACTION";
inline constexpr char kInsert[] = "INSERT INTO stream01 (attributes) VALUES (?)";
inline constexpr char kDelete[] = "DELETE FROM stream01 WHERE id<=?";
inline constexpr char kSelectMinimum[] = "SELECT min(id) FROM stream01";
inline constexpr char kSelectMaximum[] = "SELECT max(id) FROM stream01";
inline constexpr char kSelectForward[] = "SELECT id, attributes FROM stream01 WHERE id>=? ORDER BY id";
inline constexpr char kSelectBackward[] = "SELECT id, attributes FROM stream01 WHERE id<=? ORDER BY id DESC";

// ---- What a look into the file adds

inline constexpr char kCountTables[] = "SELECT count(*) FROM sqlite_master WHERE type = 'table' AND name = 'stream01'";
inline constexpr char kSelectAll[] = "SELECT id, attributes FROM stream01";
inline constexpr char kSelectItem[] = "SELECT attributes FROM stream01 WHERE id = ?";
inline constexpr char kCount[] = "SELECT count(*) FROM stream01 WHERE id BETWEEN ? AND ?";
inline constexpr char kCountAll[] = "SELECT count(*) FROM stream01";
inline constexpr char kSumBytes[] = "SELECT sum(length(CAST(attributes AS BLOB))) FROM stream01";

inline constexpr char kInsertWithID[] = "INSERT INTO stream01 (id, attributes) VALUES (?, ?)";

}  // namespace KXCore::StreamSchema
