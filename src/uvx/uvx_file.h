#pragma once
// AUVXFile: a UVX visibility file (layout in docs/uvx-format.md).
//
//   preamble (1024 bytes: magic, version, layout, table directory, 466-byte header image)
//   group 0 (24 bytes) + visibility 0 (12 * nIF * nChannels * nStokes bytes)
//   group 1 + visibility 1 ...
//   tables
//
// Records have a fixed size, so SeekUVGroup/SeekUVVis are arithmetic. All I/O goes through one
// large buffer: sequential passes make no system call per group.
//
// Writing order: Open(path, modeCreate); optionally Write(header) early (fixes the record layout);
// SeekUVGroup(0); group.store / vis.store for every group; Write(header); AddTable...; Close().
// In create mode, the layout comes from the first Write(header) or else from the first visibility
// stored. Tables are kept in memory and written after the data when the file is closed.

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "uvx/uvx_header.h"
#include "uvx/uvx_table.h"

class AUVXFile {
 public:
  enum : int {
    modeRead = 1,    // existing file, read only
    modeCreate = 2,  // new file (an existing one is truncated)
    modeUpdate = 3,  // existing file, records, header and tables rewritten in place
  };
  static constexpr std::uint32_t kVersion = 1;
  static constexpr std::int64_t kDataOffset = 1024;
  static constexpr int kHeaderImageOffset = 64;
  // Sane limits for what a file may declare.
  static constexpr int kMaxAxis = 1 << 16;               // IFs, channels (Stokes: AUVXHeader::kMaxPol)
  static constexpr std::int64_t kMaxEntries = 1 << 24;   // entries per visibility record
  static constexpr int kMaxTables = 4096;
  static constexpr std::size_t kBufferBytes = std::size_t{4} << 20;

  AUVXFile();
  ~AUVXFile();
  AUVXFile(const AUVXFile&) = delete;
  AUVXFile& operator=(const AUVXFile&) = delete;

  // Non-zero on success. A read/update open validates the whole structure (magic, version, counts
  // against the file length, every table); Error() then says what was wrong.
  int Open(const std::string& path, int mode);
  // Writes what is pending (create/update: header image, tables, directory) and closes.
  // Returns non-zero when everything was written.
  int Close();
  // Closes without finishing and deletes the file (for a stopped or failed writer).
  void Discard();
  bool IsOpen() const { return fd_ >= 0; }
  int Mode() const { return mode_; }
  const std::string& Path() const { return path_; }
  const std::string& Error() const { return error_; }

  // Writes (or rewrites) the header image now; fixes the record layout if not yet fixed.
  // Returns 0 when the header's counts disagree with a layout already fixed.
  int Write(AUVXHeader& header);
  // Keeps a copy of the table (replacing one of the same name); written at Close.
  AUVXFile& AddTable(AUVXTable& table);
  // The table of that name, or null; owned by the file, valid until Close.
  AUVXTable* GetTable(const char* name);
  int TableCount() const { return int(tables_.size()); }
  AUVXTable* TableAt(int i) { return tables_[std::size_t(i)].get(); }

  std::int64_t GetPos() const { return pos_; }
  int Seek(std::int64_t position);
  int SeekUVGroup(std::int64_t index);
  int SeekUVVis(std::int64_t index);

  // Raw byte access at the current position (through the buffer).
  int ReadBytes(void* dst, std::size_t bytes);
  int WriteBytes(const void* src, std::size_t bytes);
  // Reads `bytes` at `position` straight from the file, bypassing (and keeping) the buffer: for
  // sparse reads such as every k-th group, which would otherwise refill the large buffer per
  // group. Read mode only; 0 beyond the end of the file.
  int ReadAt(std::int64_t position, void* dst, std::size_t bytes);
  // Tells the kernel that `bytes` at `position` will be read soon (posix_fadvise WILLNEED): it
  // starts fetching them from the disk without waiting. Announcing many sparse reads before making
  // them keeps many disk requests in flight. Only a hint: nothing happens when it is refused.
  void WillNeed(std::int64_t position, std::size_t bytes) const;
  // Whole records (group + visibility) [first, first + count) in one transfer.
  int ReadRecords(std::int64_t first, std::int64_t count, unsigned char* dst);
  int WriteRecords(std::int64_t first, std::int64_t count, const unsigned char* src);

  // Fixes the layout of a file being created; 0 for absurd counts or a different fixed layout.
  int SetLayout(int n_if, int n_channels, int n_stokes);
  bool HasLayout() const { return record_bytes_ > 0; }
  const AUVXHeader& Header() const { return header_; }
  std::int64_t Groups() const;  // groups in the file (create: highest written + 1, or header's)
  int NIF() const { return n_if_; }
  int NChannels() const { return n_channels_; }
  int NStokes() const { return n_stokes_; }
  std::int64_t RecordBytes() const { return record_bytes_; }
  std::int64_t VisBytes() const { return record_bytes_ - 24; }
  std::int64_t Length() const;  // current length including pending writes

 private:
  int ReadPreamble();
  int ReadTables(std::int64_t offset, std::int64_t count);
  int WriteTables(std::int64_t offset, std::int64_t* end);
  int WritePreamble(std::int64_t table_offset, std::int64_t n_tables);
  int Flush();
  int Fail(const std::string& what);
  int RawRead(std::int64_t at, void* dst, std::size_t bytes);
  int RawWrite(std::int64_t at, const void* src, std::size_t bytes);

  int fd_ = -1;
  int mode_ = 0;
  std::string path_;
  std::string error_;
  bool failed_ = false;
  bool tables_dirty_ = false;
  bool header_written_ = false;

  AUVXHeader header_;
  int n_if_ = 0, n_channels_ = 0, n_stokes_ = 0;
  std::int64_t record_bytes_ = 0;
  std::int64_t n_groups_ = 0;        // groups declared by the file or the last header written
  std::int64_t data_end_ = kDataOffset;  // end of the highest record byte written
  std::int64_t file_length_ = 0;     // length on disk (without the buffer)
  std::vector<std::unique_ptr<AUVXTable>> tables_;

  // Buffer: bytes [buf_pos_, buf_pos_ + buf_len_) of the file; dirty range inside it.
  // Allocated on first use, not zero-filled: a read-only open of a small file stays cheap.
  std::size_t Capacity();
  std::unique_ptr<unsigned char[]> buf_;
  std::size_t buf_cap_ = 0;
  std::int64_t buf_pos_ = 0;
  std::size_t buf_len_ = 0;
  std::size_t dirty_lo_ = 0, dirty_hi_ = 0;
  std::int64_t pos_ = 0;
};
