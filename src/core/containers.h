#pragma once
// The three containers that carry every list and grid of QVLModel.
//
//  AArray<T>     growable array of bitwise-copyable elements; grows by `growBy` (256) elements,
//                copies allocate exactly `count` elements, no bounds checks.
//  AObjArray<T>  the same for elements with constructors, destructors and assignment.
//  AMatrix<T>    dense row-major matrix on 32-byte-aligned storage; element (r, c) at r*cols + c.
//
// Storage is obtained and released only through Alloc/Free. A request whose byte size would
// overflow asks for the largest size instead, so the allocator fails rather than hand back too
// little memory.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <new>
#include <type_traits>
#include <utility>

namespace qvl::detail {

// Byte size of n elements of `size` bytes, saturated at SIZE_MAX on overflow or a negative count.
inline std::size_t SaturatedBytes(std::int64_t n, std::size_t size) {
  if (n < 0) return std::numeric_limits<std::size_t>::max();
  const auto un = static_cast<std::uint64_t>(n);
  if (size != 0 && un > std::numeric_limits<std::size_t>::max() / size)
    return std::numeric_limits<std::size_t>::max();
  return static_cast<std::size_t>(un) * size;
}

// A stream that can tell how many bytes are left lets Load refuse an impossible count before
// allocating for it.
template <class S>
concept SizedStream = requires(S& s) {
  { s.Remaining() } -> std::convertible_to<std::int64_t>;
};

}  // namespace qvl::detail

template <class T>
class AArray {
 public:
  AArray() = default;
  explicit AArray(int n) : count(n > 0 ? n : 0), capacity(n > 0 ? n : 0) {
    if (n >= 1) data = RawAlloc(n);
  }
  AArray(const AArray& other) : count(other.count), growBy(other.growBy) {
    capacity = count;
    if (count > 0) {
      data = RawAlloc(count);
      std::memcpy(static_cast<void*>(data), other.data, sizeof(T) * static_cast<std::size_t>(count));
    }
  }
  AArray& operator=(const AArray& other) {
    if (this == &other) return *this;
    ReleaseStorage();
    growBy = other.growBy;
    count = other.count;
    if (count > 0) {
      data = Alloc(count);
      std::memcpy(static_cast<void*>(data), other.data, sizeof(T) * static_cast<std::size_t>(count));
    }
    capacity = count;
    return *this;
  }
  virtual ~AArray() {
    if (data) RawFree(data);
  }

  virtual T* Alloc(int n) { return RawAlloc(n); }
  virtual void Free(T* p) { RawFree(p); }

  // Releases the storage and allocates exactly n elements; the content is neither kept nor zeroed.
  void SetSize(int n) {
    ReleaseStorage();
    if (n > 0) data = Alloc(n);
    count = capacity = n;
  }

  int InsertAt(int index, const T& item) {
    // `item` may be an element of this array: keep its bytes before the storage is replaced.
    alignas(T) unsigned char saved[sizeof(T)];
    std::memcpy(saved, static_cast<const void*>(&item), sizeof(T));
    if (count >= capacity || !data) {
      // Without storage (after RemoveAll or a Load of count 0) the recorded capacity holds
      // nothing: growth starts from zero. The new storage always has room for count + 1.
      const int held = data ? capacity : 0;
      const int grown_capacity = std::max(held + growBy, count + 1);
      T* grown = Alloc(grown_capacity);
      const int kept = std::min(count, held);
      if (kept > 0)
        std::memcpy(static_cast<void*>(grown), data, sizeof(T) * static_cast<std::size_t>(kept));
      if (data) Free(data);
      data = grown;
      capacity = grown_capacity;
    }
    if (index < count)
      std::memmove(static_cast<void*>(data + index + 1), data + index,
                   sizeof(T) * static_cast<std::size_t>(count - index));
    std::memcpy(static_cast<void*>(data + index), saved, sizeof(T));
    ++count;
    return index;
  }
  int Add(const T& item) { return InsertAt(count, item); }

  // Removes element `index`; an index at or past the last element truncates the array to it.
  void RemoveAt(int index) {
    if (index + 1 < count) {
      std::memmove(static_cast<void*>(data + index), data + index + 1,
                   sizeof(T) * static_cast<std::size_t>(count - index - 1));
      --count;
    } else {
      count = index;
    }
  }

  // Frees the storage; `capacity` keeps its value on purpose.
  void RemoveAll() {
    if (data) Free(data);
    data = nullptr;
    count = 0;
  }

  T& operator[](int i) { return data[i]; }
  const T& operator[](int i) const { return data[i]; }
  int GetSize() const { return count; }
  T* begin() { return data; }
  T* end() { return data + (count > 0 ? count : 0); }
  const T* begin() const { return data; }
  const T* end() const { return data + (count > 0 ? count : 0); }

  // Binary persistence: a little-endian int32 count, then count raw elements.
  template <class Stream>
  int Store(Stream& s) const {
    std::int32_t n = count;
    int ok = s.Write(&n, 4);
    if (ok && count >= 1) ok = s.Write(data, sizeof(T) * static_cast<std::size_t>(count));
    return ok;
  }

  template <class Stream>
  int Load(Stream& s) {
    std::int32_t n = 0;
    int ok = s.Read(&n, 4);
    if (ok && n > 0) {
      if constexpr (qvl::detail::SizedStream<Stream>) {
        if (qvl::detail::SaturatedBytes(n, sizeof(T)) > static_cast<std::size_t>(std::max<std::int64_t>(s.Remaining(), 0))) {
          ReleaseStorage();
          count = 0;
          return 0;
        }
      }
    }
    count = ok ? n : count;
    if (ok && count > 0 && (capacity < count || !data)) {
      if (data) Free(data);
      data = Alloc(count);
      capacity = count;
    }
    if (ok && count > 0) return s.Read(data, sizeof(T) * static_cast<std::size_t>(count));
    ReleaseStorage();
    return ok;
  }

  // Public fields, in their documented order after the virtual table.
  std::int32_t count = 0;
  std::int32_t capacity = 0;
  std::int32_t growBy = 256;
  T* data = nullptr;

 protected:
  static T* RawAlloc(int n) {
    void* p = ::operator new(qvl::detail::SaturatedBytes(n, sizeof(T)));
    T* t = static_cast<T*>(p);
    if constexpr (!std::is_trivially_default_constructible_v<T>)
      for (int i = 0; i < n; ++i) new (t + i) T();
    return t;
  }
  static void RawFree(T* p) { ::operator delete(static_cast<void*>(p)); }
  void ReleaseStorage() {
    if (data) Free(data);
    data = nullptr;
  }
};

template <class T>
class AObjArray : public AArray<T> {
  using Base = AArray<T>;

 public:
  AObjArray() = default;
  explicit AObjArray(int n) : Base() {
    this->count = this->capacity = n > 0 ? n : 0;
    if (n >= 1) this->data = ObjAlloc(n), allocated_ = n;
  }
  AObjArray(const AObjArray& other) : Base() {
    this->growBy = other.growBy;
    this->count = this->capacity = other.count;
    if (other.count > 0) {
      this->data = ObjAlloc(other.count);
      allocated_ = other.count;
      for (int i = 0; i < other.count; ++i) this->data[i] = other.data[i];
    }
  }
  AObjArray& operator=(const AObjArray& other) {
    if (this == &other) return *this;
    this->ReleaseStorage();
    allocated_ = 0;
    this->growBy = other.growBy;
    this->count = other.count;
    if (this->count > 0) {
      this->data = ObjAlloc(this->count);
      allocated_ = this->count;
      for (int i = 0; i < this->count; ++i) this->data[i] = other.data[i];
    }
    this->capacity = this->count;
    return *this;
  }
  ~AObjArray() override {
    if (this->data) ObjFree(this->data);
    this->data = nullptr;
  }

  T* Alloc(int n) override { return ObjAlloc(n); }
  void Free(T* p) override { ObjFree(p); }

  // Keeps the content. When the storage must grow, the new capacity is recorded as the old count
  // (not n), so a later SetSize above that count reallocates once more, keeping the first n.
  // The recorded capacity can then differ from the storage; the storage actually held decides
  // too, so a SetSize to fewer and then more elements never writes past it.
  void SetSize(int n) {
    if (this->capacity < n || allocated_ < n) {
      T* grown = ObjAlloc(n);
      const int kept = std::min(std::min(this->count, n), allocated_);
      for (int i = 0; i < kept; ++i) grown[i] = std::move(this->data[i]);
      if (this->data) ObjFree(this->data);
      this->data = grown;
      allocated_ = n;
      this->capacity = this->count;
    }
    this->count = n;
  }

  int InsertAt(int index, const T& item) {
    T copy = item;  // item may live inside this array
    if (this->count >= this->capacity || this->count >= allocated_) {
      // Grows by growBy from the recorded capacity, and always to room for count + 1.
      const int held = this->data ? this->capacity : 0;
      const int grown_capacity = std::max(held + this->growBy, this->count + 1);
      T* grown = ObjAlloc(grown_capacity);
      const int kept = std::min(this->count, allocated_);
      for (int i = 0; i < kept; ++i) grown[i] = std::move(this->data[i]);
      if (this->data) ObjFree(this->data);
      this->data = grown;
      allocated_ = grown_capacity;
      this->capacity = grown_capacity;
    }
    for (int i = this->count; i > index; --i) this->data[i] = std::move(this->data[i - 1]);
    this->data[index] = std::move(copy);
    ++this->count;
    return index;
  }
  int Add(const T& item) { return InsertAt(this->count, item); }

  void RemoveAt(int index) {
    if (index + 1 < this->count) {
      for (int i = index; i + 1 < this->count; ++i) this->data[i] = std::move(this->data[i + 1]);
      this->data[this->count - 1] = T();
      --this->count;
    } else {
      this->count = index;
    }
  }

  void RemoveAll() {
    if (this->data) ObjFree(this->data);
    this->data = nullptr;
    allocated_ = 0;
    this->count = 0;
  }

  // The object array has no raw persistence: its elements own resources.
  template <class Stream>
  int Store(Stream&) const = delete;
  template <class Stream>
  int Load(Stream&) = delete;

 private:
  // Array new records the element count, so Free needs no size.
  static T* ObjAlloc(int n) {
    const std::size_t bytes = qvl::detail::SaturatedBytes(n, sizeof(T));
    if (bytes == std::numeric_limits<std::size_t>::max()) throw std::bad_array_new_length();
    return new T[static_cast<std::size_t>(n)]();
  }
  static void ObjFree(T* p) { delete[] p; }

  int allocated_ = 0;  // elements of the storage, which the recorded capacity may not match
};

// For an array filled from a file of unknown length: raises growBy to the count, so that the array
// grows geometrically. The fixed step would copy every element read so far once per step, which
// is quadratic in a long file (millions of short lines).
template <class Array>
void GrowWithCount(Array& array) {
  if (array.growBy < array.count) array.growBy = array.count;
}

template <class T>
class AMatrix {
 public:
  static constexpr std::size_t kAlignment = 32;

  AMatrix() = default;
  AMatrix(std::uint32_t r, std::uint32_t c) : rows(r), cols(c) { data = Allocate(Elements()); }
  AMatrix(const AMatrix& other) : rows(other.rows), cols(other.cols) {
    data = Allocate(Elements());
    CopyFrom(other);
  }
  AMatrix& operator=(const AMatrix& other) {
    if (this == &other) return *this;
    const std::uint64_t want = std::uint64_t{other.rows} * other.cols;
    if (want != Elements() || (!data && want)) {
      Deallocate(data);
      data = Allocate(want);
    }
    rows = other.rows;
    cols = other.cols;
    CopyFrom(other);
    return *this;
  }
  virtual ~AMatrix() { Deallocate(data); }

  // Keeps the content when the shape is unchanged; otherwise new uninitialised storage.
  T* Resize(std::uint32_t r, std::uint32_t c) {
    if (r == rows && c == cols) return data;
    Deallocate(data);
    rows = r;
    cols = c;
    data = Allocate(Elements());
    return data;
  }

  T& operator()(std::uint32_t r, std::uint32_t c) { return data[std::size_t{r} * cols + c]; }
  const T& operator()(std::uint32_t r, std::uint32_t c) const { return data[std::size_t{r} * cols + c]; }
  T* Row(std::uint32_t r) { return data + std::size_t{r} * cols; }
  const T* Row(std::uint32_t r) const { return data + std::size_t{r} * cols; }
  std::uint64_t Elements() const { return std::uint64_t{rows} * cols; }

  // rows x cols of the product, accumulated in order of k; shapes are trusted (B.rows == A.cols).
  AMatrix operator*(const AMatrix& b) const
    requires std::is_floating_point_v<T>
  {
    AMatrix out(rows, b.cols);
    for (std::uint32_t i = 0; i < rows; ++i)
      for (std::uint32_t j = 0; j < b.cols; ++j) {
        T sum = 0;
        for (std::uint32_t k = 0; k < cols; ++k) sum += (*this)(i, k) * b(k, j);
        out(i, j) = sum;
      }
    return out;
  }

  // Sum over the common upper-left block of the two shapes.
  AMatrix operator+(const AMatrix& b) const
    requires std::is_floating_point_v<T>
  {
    AMatrix out(std::min(rows, b.rows), std::min(cols, b.cols));
    for (std::uint32_t i = 0; i < out.rows; ++i)
      for (std::uint32_t j = 0; j < out.cols; ++j) out(i, j) = (*this)(i, j) + b(i, j);
    return out;
  }

  T* data = nullptr;
  std::uint32_t rows = 0;
  std::uint32_t cols = 0;

 private:
  static T* Allocate(std::uint64_t n) {
    if (n == 0) return nullptr;
    constexpr std::size_t kMaxBytes = static_cast<std::size_t>(std::numeric_limits<std::ptrdiff_t>::max()) & ~(kAlignment - 1);
    const std::size_t bytes = n > (kMaxBytes - kAlignment) / sizeof(T)
                                  ? kMaxBytes
                                  : (static_cast<std::size_t>(n) * sizeof(T) + kAlignment - 1) & ~(kAlignment - 1);
    return static_cast<T*>(::operator new(bytes, std::align_val_t{kAlignment}));
  }
  static void Deallocate(T* p) {
    if (p) ::operator delete(static_cast<void*>(p), std::align_val_t{kAlignment});
  }
  void CopyFrom(const AMatrix& other) {
    if (other.Elements())
      std::memcpy(static_cast<void*>(data), other.data, sizeof(T) * static_cast<std::size_t>(other.Elements()));
  }

  static_assert(std::is_trivially_copyable_v<T>, "AMatrix copies its elements bytewise");
};
