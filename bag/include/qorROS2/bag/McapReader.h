#pragma once

// Reads one MCAP file: through its summary and chunk indexes when it has them, and otherwise (a
// recorder killed, a file cut short, a writer that wrote no summary) as a stream of records up
// to the last whole one. Messages come in log-time order a chunk at a time, never the whole file
// at once. Damage is reported, not fatal: a chunk whose CRC does not match is named in problems()
// and skipped, and every other chunk is still read.

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "qorROS2/bag/Export.h"
#include "qorROS2/bag/McapTypes.h"

namespace qorROS2::bag {

struct McapReaderOptions {
    /// Reads the data section once on opening to check its CRC (when the file stores one).
    bool checkDataCrc = true;
};

class QORBAG_EXPORT McapReader {
  public:
    /// Opens `path` and reads its header and summary (or scans its records when it has none).
    /// Throws BagError naming the file when it cannot be read, is empty, or is not MCAP at all.
    explicit McapReader(const std::string& path, McapReaderOptions options = {});
    ~McapReader();
    McapReader(const McapReader&) = delete;
    McapReader& operator=(const McapReader&) = delete;

    const std::string& path() const;
    const std::string& profile() const;  ///< the Header's profile ("ros2" for bags)
    const std::string& library() const;  ///< the Header's writer library
    /// True when the file was read through its summary's chunk indexes; false when its records
    /// were scanned (no footer or summary, or a summary that could not be used; problems() says
    /// why when it is damage).
    bool indexed() const;

    const std::vector<McapSchema>& schemas() const;     ///< by id
    const std::vector<McapChannel>& channels() const;   ///< by id
    const std::vector<McapMetadata>& metadata() const;  ///< in file order
    /// The file's Statistics record, or the same counted from its messages when it has none.
    const McapStatistics& statistics() const;
    /// What was found wrong, each naming where in the file; reading messages may add more.
    const std::vector<std::string>& problems() const;

    /// Messages one at a time in log-time order (equal times in file order). The message's bytes
    /// are valid until the next call. A cursor holds one chunk per overlapping time span.
    class QORBAG_EXPORT Cursor {
      public:
        ~Cursor();
        Cursor(Cursor&&) noexcept;
        Cursor& operator=(Cursor&&) noexcept;
        /// The next message; false after the last one.
        bool next(McapMessage& message);

      private:
        friend class McapReader;
        struct Impl;
        explicit Cursor(std::unique_ptr<Impl> impl);
        std::unique_ptr<Impl> m_impl;
    };
    Cursor messages();
    /// Calls `onMessage` for every message in log-time order until it returns false.
    void readMessages(const std::function<bool(const McapMessage&)>& onMessage);

  private:
    struct Impl;
    std::unique_ptr<Impl> m_impl;
};

}  // namespace qorROS2::bag
