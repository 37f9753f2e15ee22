#pragma once

#include <KXCoreLib/CoreFoundation/PropertyListRef.h>
#include <KXCoreLib/Export.h>

#include <boost/core/noncopyable.hpp>
#include <memory>

namespace KXCore {

/// How a stream is opened. For writing, a file that cannot be used is deleted and made anew: the stream goes on without
/// the items that were in it. For reading, a file that cannot even be opened is deleted too, but none is made in its
/// place: the process ends, as it does for a file that is no stream or stays locked, which is left as it is.
enum StreamMode : int {
    StreamModeReadOnly = 1,
    StreamModeReadWrite = 2,  ///< makes the file when there is none
};

/// The direction of a cursor, from its first id on.
enum StreamCursorKind : int {
    StreamCursorForward = 1,
    StreamCursorBackward = 2,
};

/// Accepted where a stream is made, and ignored.
struct FileAttributes {};

/// Walks over the items of a stream. Made by StreamStorage::createStreamCursor; its owner deletes it. One thread at a
/// time; different cursors may be used at once. A cursor may outlive its storage: it then finds no more items than it
/// has in memory.
class KX_EXPORT StreamCursor : boost::noncopyable {
  public:
    virtual ~StreamCursor();

    /// The next item, made with `allocator` (null: the default), comes back in `item`, and its id as the result; 0 when
    /// there is none, and from then on. Items that are no property list are passed over, and so are items of more than
    /// 260,080 bytes. Memory stays at one batch of at most 260,096 bytes.
    virtual unsigned long long getNextItem(const __CFAllocator* allocator, CoreFoundation::PropertyListRef& item) = 0;
};

class StreamStorageImpl;

/// A persistent queue of property lists in one SQLite file (docs/stream-file.md tells it byte by byte): a producer
/// appends items, each under the next higher id; a consumer reads them in order through a cursor and discards what it
/// has delivered.
///
/// **What is kept.** An append is durable after the next syncStorage() or discard, or after the storage's destruction.
/// What was appended since is lost when the process dies, and, on purpose, when the storage is closed or opened again:
/// sync first.
///
/// **Threads.** Any operation may be called from any thread. While one thread opens or closes the storage, the others
/// wait; none of their reads and discards is lost.
///
/// **Errors.** A file that cannot be opened for writing is deleted and replaced by an empty one, with a line on the
/// standard error stream; when that fails too, the process ends. Later failures of the disk are silent: what was not
/// stored is not there on reading. An operation waits about a second for a file that another process holds locked,
/// before that is a failure; other threads go on meanwhile.
class KX_EXPORT StreamStorage : boost::noncopyable {
  public:
    /// A closed stream in the file at `path` (copied). Opens nothing.
    StreamStorage(const char* path, const FileAttributes& attributes);

    /// Commits what was appended. Cursors that are still there find no more items.
    ~StreamStorage();

    /// Opens the file, again if it is open: then appends that were not synced are lost, and cursors made before go on
    /// reading as after closeStorage().
    void openStorage(StreamMode mode);

    /// Stores `item`, a property list of any kind, borrowed for the call. `time` is ignored. Silently dropped when the
    /// storage is closed. Throws a CFException when `item` cannot be written as a property list.
    void appendItem(const void* item, double time);

    /// Makes the appends so far durable.
    void syncStorage();

    /// The smallest and the largest id; 0 when the stream is empty or closed.
    unsigned long long getFirstItemID();
    unsigned long long getLastItemID();

    /// A cursor that begins at the item `start_id`, or the next one in its direction. A `start_id` of 0 gives a cursor
    /// without items: begin at getFirstItemID() or getLastItemID(). `stream_uuid` is ignored. The caller deletes it.
    StreamCursor* createStreamCursor(StreamCursorKind kind, unsigned long long start_id, unsigned char* stream_uuid);

    /// Deletes every item up to `id` and commits, appends included; nothing when `id` is 0. The storage must be open.
    void discardItemsWithIDLessThanOrEqualTo(unsigned long long id);

    /// Quota and age are not enforced: both return 0, "none".
    unsigned long long getIDOfLastItemExceedingStorageQuota(long long quota);
    unsigned long long getIDOfLastExpiredItem(double time);

    /// Writes the null UUID to the 16 bytes at `uuid`: streams have no identity.
    void getStreamUUID(unsigned char* uuid);

    /// Does nothing.
    void resetStorage();

    /// Closes the stream; appends that were not synced are lost. Cursors made before go on reading. While there are
    /// any, appends that were pending keep the file locked against other writers.
    void closeStorage();

  private:
    std::unique_ptr<StreamStorageImpl> impl_;
};

}  // namespace KXCore
