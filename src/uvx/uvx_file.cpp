#include "uvx/uvx_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <limits>

#include "uvx/le_bytes.h"

using uvx_bytes::Get;
using uvx_bytes::Put;

namespace {

constexpr unsigned char kMagic[8] = {'Q', 'V', 'L', 'U', 'V', 'X', 0x00, 0x1A};
constexpr int kTableHeadBytes = 40;
constexpr int kKeywordBytes = 48;
constexpr int kMaxTableColumns = 4096;
constexpr int kMaxTableKeywords = 4096;
constexpr std::int64_t kMaxRowLength = std::int64_t{1} << 24;

bool HasNul(const char* field, std::size_t size) { return std::memchr(field, 0, size) != nullptr; }

}  // namespace

AUVXFile::AUVXFile() = default;

AUVXFile::~AUVXFile() {
  if (IsOpen()) Close();
}

int AUVXFile::Fail(const std::string& what) {
  if (error_.empty()) error_ = what;
  failed_ = true;
  return 0;
}

int AUVXFile::RawRead(std::int64_t at, void* dst, std::size_t bytes) {
  auto* p = static_cast<unsigned char*>(dst);
  while (bytes > 0) {
    const ssize_t got = ::pread(fd_, p, bytes, at);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) return 0;
    p += got;
    at += got;
    bytes -= std::size_t(got);
  }
  return 1;
}

int AUVXFile::RawWrite(std::int64_t at, const void* src, std::size_t bytes) {
  const auto* p = static_cast<const unsigned char*>(src);
  while (bytes > 0) {
    const ssize_t put = ::pwrite(fd_, p, bytes, at);
    if (put < 0 && errno == EINTR) continue;
    if (put <= 0) return Fail(std::string("write failed: ") + std::strerror(errno));
    p += put;
    at += put;
    bytes -= std::size_t(put);
  }
  file_length_ = std::max(file_length_, at);
  return 1;
}

int AUVXFile::Flush() {
  if (dirty_hi_ > dirty_lo_) {
    const int ok = RawWrite(buf_pos_ + std::int64_t(dirty_lo_), buf_.get() + dirty_lo_, dirty_hi_ - dirty_lo_);
    dirty_lo_ = dirty_hi_ = 0;
    return ok;
  }
  return 1;
}

std::int64_t AUVXFile::Length() const {
  return std::max(file_length_, buf_pos_ + std::int64_t(buf_len_));
}

int AUVXFile::Open(const std::string& path, int mode) {
  if (IsOpen()) Close();
  error_.clear();
  failed_ = false;
  tables_.clear();
  header_ = AUVXHeader();
  n_if_ = n_channels_ = n_stokes_ = 0;
  record_bytes_ = 0;
  n_groups_ = 0;
  data_end_ = kDataOffset;
  buf_pos_ = 0;
  buf_len_ = 0;
  dirty_lo_ = dirty_hi_ = 0;
  pos_ = 0;
  tables_dirty_ = header_written_ = false;
  path_ = path;
  mode_ = mode;

  int flags = 0;
  switch (mode) {
    case modeRead: flags = O_RDONLY; break;
    case modeCreate: flags = O_RDWR | O_CREAT | O_TRUNC; break;
    case modeUpdate: flags = O_RDWR; break;
    default: return Fail("unknown open mode");
  }
  fd_ = ::open(path.c_str(), flags | O_CLOEXEC, 0644);
  if (fd_ < 0) return Fail(std::string("cannot open: ") + std::strerror(errno));
  struct stat st {};
  if (::fstat(fd_, &st) != 0 || !S_ISREG(st.st_mode)) {
    ::close(fd_);
    fd_ = -1;
    return Fail("not a regular file");
  }
  file_length_ = st.st_size;
  if (mode == modeCreate) return 1;
  if (!ReadPreamble()) {
    ::close(fd_);
    fd_ = -1;
    return 0;
  }
  return 1;
}

int AUVXFile::ReadPreamble() {
  const std::int64_t len = file_length_;
  if (len < kDataOffset) return Fail("file too short for a UVX header");
  unsigned char pre[kDataOffset];
  if (!RawRead(0, pre, sizeof pre)) return Fail("cannot read the header");
  if (std::memcmp(pre, kMagic, sizeof kMagic) != 0) return Fail("not a UVX file (wrong magic)");
  const auto version = Get<std::uint32_t>(pre + 8);
  if (version > kVersion)
    return Fail("UVX format version " + std::to_string(version) + " is newer than this program reads (" +
                std::to_string(kVersion) + ")");
  if (version == 0) return Fail("bad UVX format version 0");
  if (Get<std::uint32_t>(pre + 12) != kDataOffset || Get<std::uint32_t>(pre + 16) != AUVXGroup::kBytes ||
      Get<std::uint32_t>(pre + 20) != 12)
    return Fail("unsupported record layout");
  const auto nif = Get<std::int32_t>(pre + 24);
  const auto nch = Get<std::int32_t>(pre + 28);
  const auto nst = Get<std::int32_t>(pre + 32);
  if (nif < 0 || nch < 0 || nst < 0 || nif > kMaxAxis || nch > kMaxAxis || nst > AUVXHeader::kMaxPol ||
      std::int64_t{nif} * nch * nst > kMaxEntries)
    return Fail("absurd visibility axes (" + std::to_string(nif) + " IFs, " + std::to_string(nch) +
                " channels, " + std::to_string(nst) + " Stokes)");
  AUVXHeader h;
  if (!h.FromImage(pre + kHeaderImageOffset)) return Fail("damaged header image");
  if (h.n_if != nif || h.n_channels != nch || h.n_pol != nst) return Fail("header counts disagree with the layout");
  const auto groups = Get<std::int64_t>(pre + 40);
  const auto table_offset = Get<std::int64_t>(pre + 48);
  const auto n_tables = Get<std::int32_t>(pre + 56);
  const std::int64_t record = AUVXGroup::kBytes + std::int64_t{12} * nif * nch * nst;
  if (groups < 0 || groups > std::numeric_limits<std::int32_t>::max() || groups != h.groups)
    return Fail("bad group count");
  if (groups > (len - kDataOffset) / record)
    return Fail("file truncated: " + std::to_string(groups) + " groups do not fit");
  if (table_offset != kDataOffset + groups * record) return Fail("bad table offset");
  if (n_tables < 0 || n_tables > kMaxTables) return Fail("bad table count");
  header_ = h;
  n_if_ = nif;
  n_channels_ = nch;
  n_stokes_ = nst;
  record_bytes_ = record;
  n_groups_ = groups;
  data_end_ = table_offset;
  return ReadTables(table_offset, n_tables);
}

int AUVXFile::ReadTables(std::int64_t offset, std::int64_t count) {
  const std::int64_t len = file_length_;
  std::int64_t at = offset;
  std::vector<unsigned char> body;
  for (std::int64_t t = 0; t < count; ++t) {
    const std::string which = "table " + std::to_string(t + 1);
    if (len - at < kTableHeadBytes) return Fail(which + " truncated");
    unsigned char head[kTableHeadBytes];
    if (!RawRead(at, head, sizeof head)) return Fail(which + " unreadable");
    const auto type = Get<std::int32_t>(head + 8);
    const auto rows = Get<std::int32_t>(head + 12);
    const auto cols = Get<std::int32_t>(head + 16);
    const auto row_len = Get<std::int32_t>(head + 20);
    const auto nkw = Get<std::int32_t>(head + 24);
    const auto chunk = Get<std::int64_t>(head + 32);
    if (rows < 0 || cols < 0 || cols > kMaxTableColumns || row_len < 0 || row_len > kMaxRowLength || nkw < 0 ||
        nkw > kMaxTableKeywords)
      return Fail(which + " has absurd counts");
    const std::int64_t avail = len - at;
    if (row_len > 0 && rows > avail / row_len) return Fail(which + " truncated (rows)");
    const std::int64_t want =
        kTableHeadBytes + std::int64_t{36} * cols + std::int64_t{kKeywordBytes} * nkw + std::int64_t{rows} * row_len;
    if (chunk != want) return Fail(which + " has a bad length");
    if (chunk > avail) return Fail(which + " truncated");
    body.resize(std::size_t(chunk - kTableHeadBytes));
    if (!body.empty() && !RawRead(at + kTableHeadBytes, body.data(), body.size())) return Fail(which + " unreadable");

    auto table = std::make_unique<AUVXTable>();
    std::memcpy(table->name, head, 8);
    table->name[8] = 0;
    table->type = type;
    const unsigned char* p = body.data();
    std::int64_t width = 0;
    for (int c = 0; c < cols; ++c, p += 36) {
      AUVXColumn col;
      std::memcpy(&col, p, 36);
      if (!HasNul(col.name, sizeof col.name) || !HasNul(col.unit, sizeof col.unit) ||
          !HasNul(col.format, sizeof col.format))
        return Fail(which + " has a damaged column descriptor");
      const int w = AUVXTable::FormatWidth(col.format);
      if (w < 0) return Fail(which + " has a bad column format");
      width += w;
      table->columns.Add(col);
    }
    if (width != row_len) return Fail(which + " row length disagrees with its columns");
    for (int k = 0; k < nkw; ++k, p += kKeywordBytes) {
      AUVXKeyword kw;
      std::memset(&kw, 0, sizeof kw);
      std::memcpy(kw.name, p, 8);
      kw.kind = Get<std::int32_t>(p + 8);
      std::memcpy(kw.value, p + 12, 32);
      if (kw.kind < kKeyChar || kw.kind > kKeyDate) return Fail(which + " has a bad keyword kind");
      table->keywords.Add(kw);
    }
    table->n_rows = rows;
    table->n_cols = cols;
    table->row_length = row_len;
    table->data.assign(p, static_cast<const unsigned char*>(body.data() + body.size()));
    tables_.push_back(std::move(table));
    at += chunk;
  }
  if (at != len) return Fail("unexpected bytes after the tables");
  return 1;
}

int AUVXFile::SetLayout(int nif, int nch, int nst) {
  if (nif < 0 || nch < 0 || nst < 0 || nif > kMaxAxis || nch > kMaxAxis || nst > AUVXHeader::kMaxPol ||
      std::int64_t{nif} * nch * nst > kMaxEntries)
    return 0;
  if (HasLayout()) return nif == n_if_ && nch == n_channels_ && nst == n_stokes_;
  if (mode_ != modeCreate) return 0;
  n_if_ = nif;
  n_channels_ = nch;
  n_stokes_ = nst;
  record_bytes_ = AUVXGroup::kBytes + std::int64_t{12} * nif * nch * nst;
  return 1;
}

std::int64_t AUVXFile::Groups() const {
  if (mode_ != modeCreate || record_bytes_ <= 0) return n_groups_;
  const std::int64_t stored = (data_end_ - kDataOffset + record_bytes_ - 1) / record_bytes_;
  return std::max(n_groups_, stored);
}

int AUVXFile::Write(AUVXHeader& header) {
  if (!IsOpen() || mode_ == modeRead) return 0;
  if (!SetLayout(header.n_if, header.n_channels, header.n_pol)) return 0;
  if (header.groups < 0) return 0;
  if (mode_ == modeUpdate && header.groups != n_groups_) return 0;
  header_ = header;
  if (mode_ == modeCreate) n_groups_ = header.groups;
  header_written_ = true;
  unsigned char image[AUVXHeader::kImageBytes];
  header_.ToImage(image);
  return RawWrite(kHeaderImageOffset, image, sizeof image);
}

AUVXFile& AUVXFile::AddTable(AUVXTable& table) {
  if (!IsOpen() || mode_ == modeRead) {
    Fail("tables can only be added to a file open for writing");
    return *this;
  }
  if (!table.IsConsistent() || std::strlen(table.name) == 0) {
    Fail(std::string("inconsistent table '") + table.name + "'");
    return *this;
  }
  auto copy = std::make_unique<AUVXTable>(table);
  for (auto& t : tables_)
    if (std::strncmp(t->name, table.name, sizeof table.name) == 0) {
      t = std::move(copy);
      tables_dirty_ = true;
      return *this;
    }
  tables_.push_back(std::move(copy));
  tables_dirty_ = true;
  return *this;
}

AUVXTable* AUVXFile::GetTable(const char* name) {
  if (!name) return nullptr;
  for (auto& t : tables_)
    if (std::strncmp(t->name, name, sizeof t->name) == 0) return t.get();
  return nullptr;
}

int AUVXFile::Seek(std::int64_t position) {
  if (!IsOpen() || position < 0) return 0;
  if (mode_ != modeCreate && position > Length()) return 0;
  pos_ = position;
  return 1;
}

int AUVXFile::SeekUVGroup(std::int64_t index) {
  if (!IsOpen() || index < 0) return 0;
  if (index == 0) return Seek(kDataOffset);
  if (record_bytes_ <= 0) return 0;
  if (mode_ == modeCreate ? index > std::numeric_limits<std::int32_t>::max() : index >= n_groups_) return 0;
  return Seek(kDataOffset + index * record_bytes_);
}

int AUVXFile::SeekUVVis(std::int64_t index) {
  if (!SeekUVGroup(index)) return 0;
  pos_ += AUVXGroup::kBytes;
  return 1;
}

int AUVXFile::ReadBytes(void* dst, std::size_t bytes) {
  if (!IsOpen()) return 0;
  auto* out = static_cast<unsigned char*>(dst);
  while (bytes > 0) {
    if (pos_ >= buf_pos_ && pos_ < buf_pos_ + std::int64_t(buf_len_)) {
      const std::size_t off = std::size_t(pos_ - buf_pos_);
      const std::size_t k = std::min(bytes, buf_len_ - off);
      std::memcpy(out, buf_.get() + off, k);
      out += k;
      bytes -= k;
      pos_ += std::int64_t(k);
      continue;
    }
    if (!Flush()) return 0;
    const std::int64_t avail = file_length_ - pos_;
    if (avail < std::int64_t(bytes)) return 0;
    if (bytes >= Capacity()) {
      if (!RawRead(pos_, out, bytes)) return 0;
      pos_ += std::int64_t(bytes);
      return 1;
    }
    const std::size_t k = std::size_t(std::min<std::int64_t>(std::int64_t(Capacity()), avail));
    buf_len_ = 0;
    if (!RawRead(pos_, buf_.get(), k)) return 0;
    buf_pos_ = pos_;
    buf_len_ = k;
  }
  return 1;
}

int AUVXFile::WriteBytes(const void* src, std::size_t bytes) {
  if (!IsOpen() || mode_ == modeRead || failed_) return 0;
  if (pos_ < kDataOffset) return 0;  // the preamble is written only through Write/Close
  const std::int64_t end = pos_ + std::int64_t(bytes);
  if (mode_ == modeUpdate && end > kDataOffset + n_groups_ * record_bytes_) return 0;
  if (bytes >= Capacity()) {
    if (!Flush()) return 0;
    if (!RawWrite(pos_, src, bytes)) return 0;
    if (end > buf_pos_ && pos_ < buf_pos_ + std::int64_t(buf_len_)) buf_len_ = 0;  // stale window
  } else {
    const bool inside = pos_ >= buf_pos_ && pos_ <= buf_pos_ + std::int64_t(buf_len_) &&
                        end <= buf_pos_ + std::int64_t(Capacity());
    if (!inside) {
      if (!Flush()) return 0;
      buf_pos_ = pos_;
      buf_len_ = 0;
    }
    const std::size_t off = std::size_t(pos_ - buf_pos_);
    std::memcpy(buf_.get() + off, src, bytes);
    buf_len_ = std::max(buf_len_, off + bytes);
    if (dirty_hi_ == dirty_lo_) {
      dirty_lo_ = off;
      dirty_hi_ = off + bytes;
    } else {
      dirty_lo_ = std::min(dirty_lo_, off);
      dirty_hi_ = std::max(dirty_hi_, off + bytes);
    }
  }
  pos_ = end;
  data_end_ = std::max(data_end_, end);
  return 1;
}

int AUVXFile::ReadAt(std::int64_t position, void* dst, std::size_t bytes) {
  if (!IsOpen() || mode_ != modeRead || position < 0 || position > file_length_ ||
      std::int64_t(bytes) > file_length_ - position)
    return 0;
  return RawRead(position, dst, bytes);
}

void AUVXFile::WillNeed(std::int64_t position, std::size_t bytes) const {
  if (IsOpen() && position >= 0) ::posix_fadvise(fd_, off_t(position), off_t(bytes), POSIX_FADV_WILLNEED);
}

int AUVXFile::ReadRecords(std::int64_t first, std::int64_t count, unsigned char* dst) {
  if (count <= 0) return count == 0;
  if (first < 0 || first + count > Groups() || !SeekUVGroup(first)) return 0;
  return ReadBytes(dst, std::size_t(count * record_bytes_));
}

int AUVXFile::WriteRecords(std::int64_t first, std::int64_t count, const unsigned char* src) {
  if (count <= 0) return count == 0;
  if (!SeekUVGroup(first)) return 0;
  return WriteBytes(src, std::size_t(count * record_bytes_));
}

int AUVXFile::WritePreamble(std::int64_t table_offset, std::int64_t n_tables) {
  unsigned char pre[kDataOffset] = {};
  std::memcpy(pre, kMagic, sizeof kMagic);
  Put<std::uint32_t>(pre + 8, kVersion);
  Put<std::uint32_t>(pre + 12, kDataOffset);
  Put<std::uint32_t>(pre + 16, AUVXGroup::kBytes);
  Put<std::uint32_t>(pre + 20, 12);
  Put<std::int32_t>(pre + 24, n_if_);
  Put<std::int32_t>(pre + 28, n_channels_);
  Put<std::int32_t>(pre + 32, n_stokes_);
  Put<std::int64_t>(pre + 40, header_.groups);
  Put<std::int64_t>(pre + 48, table_offset);
  Put<std::int32_t>(pre + 56, std::int32_t(n_tables));
  header_.ToImage(pre + kHeaderImageOffset);
  return RawWrite(0, pre, sizeof pre);
}

int AUVXFile::WriteTables(std::int64_t offset, std::int64_t* end) {
  std::vector<unsigned char> out;
  for (const auto& t : tables_) {
    const std::size_t start = out.size();
    const std::int64_t chunk = kTableHeadBytes + std::int64_t{36} * t->n_cols +
                               std::int64_t{kKeywordBytes} * t->keywords.GetSize() + std::int64_t(t->data.size());
    out.resize(start + std::size_t(chunk), 0);
    unsigned char* p = out.data() + start;
    std::memcpy(p, t->name, 8);
    Put<std::int32_t>(p + 8, t->type);
    Put<std::int32_t>(p + 12, t->n_rows);
    Put<std::int32_t>(p + 16, t->n_cols);
    Put<std::int32_t>(p + 20, t->row_length);
    Put<std::int32_t>(p + 24, t->keywords.GetSize());
    Put<std::int64_t>(p + 32, chunk);
    p += kTableHeadBytes;
    for (const AUVXColumn& c : t->columns) {
      std::memcpy(p, &c, 36);
      p += 36;
    }
    for (const AUVXKeyword& k : t->keywords) {
      std::memcpy(p, k.name, 8);
      Put<std::int32_t>(p + 8, k.kind);
      std::memcpy(p + 12, k.value, 32);
      p += kKeywordBytes;
    }
    if (!t->data.empty()) std::memcpy(p, t->data.data(), t->data.size());
  }
  *end = offset + std::int64_t(out.size());
  return out.empty() ? 1 : RawWrite(offset, out.data(), out.size());
}

int AUVXFile::Close() {
  if (!IsOpen()) return 0;
  int ok = !failed_;
  if (mode_ != modeRead && ok) {
    ok = Flush();
    if (ok && !HasLayout()) ok = SetLayout(header_.n_if, header_.n_channels, header_.n_pol);
    if (ok) {
      const std::int64_t groups = Groups();
      header_.groups = std::int32_t(groups);
      header_.n_if = n_if_;
      header_.n_channels = n_channels_;
      header_.n_pol = std::int16_t(n_stokes_);
      const std::int64_t table_offset = kDataOffset + groups * record_bytes_;
      std::int64_t end = table_offset;
      ok = WriteTables(table_offset, &end) && WritePreamble(table_offset, std::int64_t(tables_.size()));
      if (ok && ::ftruncate(fd_, end) != 0) ok = Fail("cannot set the file length");
    }
  }
  ::close(fd_);
  fd_ = -1;
  tables_.clear();
  buf_.reset();
  buf_cap_ = 0;
  buf_len_ = 0;
  return ok;
}

void AUVXFile::Discard() {
  if (!IsOpen()) return;
  ::close(fd_);
  fd_ = -1;
  tables_.clear();
  buf_.reset();
  buf_cap_ = 0;
  buf_len_ = 0;
  dirty_lo_ = dirty_hi_ = 0;
  if (mode_ == modeCreate) ::unlink(path_.c_str());
}

std::size_t AUVXFile::Capacity() {
  if (!buf_) {
    std::size_t want = kBufferBytes;
    if (mode_ == modeRead) {
      // A small file needs no 4 MB buffer.
      const auto len = static_cast<std::size_t>(std::max<std::int64_t>(file_length_, 0));
      want = std::min(kBufferBytes, std::max<std::size_t>(std::size_t{64} << 10, len));
    }
    buf_.reset(new unsigned char[want]);
    buf_cap_ = want;
  }
  return buf_cap_;
}
