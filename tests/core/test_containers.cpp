#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "core/containers.h"
#include "core/file.h"

namespace {

struct Interval {  // default-constructed like an observation time interval
  double start = 0, stop = 0;
  std::int32_t freqId = 1;
  std::int32_t pad = 0;
};

TEST(AArrayGrowth, GrowsByFixedStepAndKeepsContent) {
  AArray<int> a;
  EXPECT_EQ(a.count, 0);
  EXPECT_EQ(a.data, nullptr);
  a.Add(7);
  EXPECT_EQ(a.capacity, 256);
  for (int i = 1; i < 256; ++i) a.Add(7 + i);
  EXPECT_EQ(a.capacity, 256);
  int* before = a.data;
  a.Add(1000);  // the 257th element reallocates to 512
  EXPECT_EQ(a.capacity, 512);
  EXPECT_NE(a.data, before);
  for (int i = 0; i < 256; ++i) ASSERT_EQ(a[i], 7 + i);
  EXPECT_EQ(a[256], 1000);

  // Inserting at 0 into a full array grows it and shifts everything up.
  AArray<int> full(4);
  for (int i = 0; i < 4; ++i) full[i] = i + 1;
  full.growBy = 2;
  EXPECT_EQ(full.InsertAt(0, 99), 0);
  EXPECT_EQ(full.capacity, 6);
  EXPECT_EQ(full.count, 5);
  const int expected[] = {99, 1, 2, 3, 4};
  for (int i = 0; i < 5; ++i) EXPECT_EQ(full[i], expected[i]);
}

TEST(AArrayRemoval, RemoveAtShiftsOrTruncates) {
  AArray<int> a;
  for (int i = 0; i < 6; ++i) a.Add(i);
  a.RemoveAt(1);
  EXPECT_EQ(a.count, 5);
  EXPECT_EQ(a[1], 2);
  a.RemoveAt(4);  // the last index: count becomes that index
  EXPECT_EQ(a.count, 4);
  a.RemoveAt(10);  // beyond the end: count becomes the index, deliberately
  EXPECT_EQ(a.count, 10);
  a.count = 4;
  a.RemoveAt(3);
  EXPECT_EQ(a.count, 3);

  a.RemoveAll();
  EXPECT_EQ(a.count, 0);
  EXPECT_EQ(a.data, nullptr);
  EXPECT_EQ(a.capacity, 256);  // capacity is left as it was
}

TEST(AArraySizing, SetSizeAndExactCopies) {
  AArray<double> a;
  a.SetSize(5);
  EXPECT_EQ(a.count, 5);
  EXPECT_EQ(a.capacity, 5);
  a.SetSize(0);
  EXPECT_EQ(a.count, 0);
  EXPECT_EQ(a.data, nullptr);

  AArray<int> src;
  for (int i = 0; i < 3; ++i) src.Add(i * 10);
  src.growBy = 17;
  AArray<int> copy(src);
  EXPECT_EQ(copy.count, 3);
  EXPECT_EQ(copy.capacity, 3);  // spare capacity is not copied
  EXPECT_EQ(copy.growBy, 17);
  EXPECT_EQ(copy[2], 20);
  EXPECT_NE(copy.data, src.data);

  AArray<int> empty;
  empty.Add(1);
  empty.RemoveAt(0);  // count 0 but storage of 256
  AArray<int> target;
  target.Add(5);
  target = empty;
  EXPECT_EQ(target.count, 0);
  EXPECT_EQ(target.capacity, 0);
  EXPECT_EQ(target.data, nullptr);

  AArray<int> negative(-3);
  EXPECT_EQ(negative.count, 0);
  EXPECT_EQ(negative.data, nullptr);

  AArray<Interval> intervals(2);  // elements with defaults are default-constructed
  EXPECT_EQ(intervals[1].freqId, 1);
  EXPECT_EQ(intervals[1].start, 0.0);
}

TEST(AArrayPersistence, StoreWritesCountThenRawElements) {
  AArray<std::int16_t> codes;
  codes.Add(-1);
  codes.Add(-2);
  AMemoryFile mem;
  ASSERT_TRUE(codes.Store(mem));
  const std::string expected("\x02\x00\x00\x00\xff\xff\xfe\xff", 8);
  EXPECT_EQ(mem.Bytes(), expected);

  mem.Seek(0);
  AArray<std::int16_t> back;
  ASSERT_TRUE(back.Load(mem));
  ASSERT_EQ(back.count, 2);
  EXPECT_EQ(back[0], -1);
  EXPECT_EQ(back[1], -2);

  AArray<std::int16_t> none;
  AMemoryFile zero;
  ASSERT_TRUE(none.Store(zero));
  EXPECT_EQ(zero.Bytes(), std::string(4, '\0'));
  zero.Seek(0);
  AArray<std::int16_t> loaded;
  loaded.Add(3);
  ASSERT_TRUE(loaded.Load(zero));
  EXPECT_EQ(loaded.count, 0);
  EXPECT_EQ(loaded.data, nullptr);
}

TEST(AArrayPersistence, LoadRefusesCountsTheStreamCannotHold) {
  // A count of 2^31-1 doubles in a 12-byte stream must fail without allocating for it.
  AMemoryFile hostile(std::string("\xff\xff\xff\x7f", 4) + std::string(8, 'x'));
  AArray<double> a;
  EXPECT_FALSE(a.Load(hostile));
  EXPECT_EQ(a.data, nullptr);

  AMemoryFile truncated(std::string("\x03\x00\x00\x00", 4) + std::string(8, '\0'));
  EXPECT_FALSE(a.Load(truncated));

  AMemoryFile shortCount(std::string("\x01\x00", 2));
  EXPECT_FALSE(a.Load(shortCount));
}

TEST(AObjArraySizing, SetSizeKeepsContentAndRecordsOldCount) {
  AObjArray<std::string> a;
  a.Add("one");
  a.Add("two");
  a.Add("three");
  // Bring the capacity down to the count, as after a copy.
  AObjArray<std::string> b(a);
  EXPECT_EQ(b.capacity, 3);
  b.SetSize(10);
  EXPECT_EQ(b.count, 10);
  EXPECT_EQ(b.capacity, 3);  // the old count, deliberately
  EXPECT_EQ(b[0], "one");
  EXPECT_EQ(b[2], "three");
  EXPECT_EQ(b[9], "");
  std::string* storage = b.data;
  b.SetSize(5);  // 5 > capacity 3: reallocates once more
  EXPECT_NE(b.data, storage);
  EXPECT_EQ(b.count, 5);
  EXPECT_EQ(b[1], "two");
  storage = b.data;
  b.SetSize(2);  // capacity 5 >= 2: only the count changes
  EXPECT_EQ(b.data, storage);
  EXPECT_EQ(b.count, 2);
}

TEST(AObjArrayElements, InsertRemoveAndDeepCopy) {
  AObjArray<std::string> a;
  for (int i = 0; i < 300; ++i) a.Add(std::string(40, static_cast<char>('a' + i % 26)));
  EXPECT_EQ(a.capacity, 512);
  a.InsertAt(0, a[5]);  // an element of the array itself
  EXPECT_EQ(a[0], a[6]);
  a.RemoveAt(0);
  EXPECT_EQ(a[0], std::string(40, 'a'));
  EXPECT_EQ(a.count, 300);

  AObjArray<std::string> copy;
  copy = a;
  copy[0] = "changed";
  EXPECT_EQ(a[0], std::string(40, 'a'));
  EXPECT_EQ(copy.capacity, 300);
}

// Cases found in review: each wrote or read memory the array did not own.
TEST(ContainerStorage, NeverUsesMemoryItDoesNotHold) {
  // Appending an element of the array itself while the array must grow.
  AArray<int> full;
  for (int i = 0; i < 256; ++i) full.Add(i + 1);
  ASSERT_EQ(full.count, full.capacity);
  for (int k = 0; k < 4; ++k) full.Add(full[k]);
  EXPECT_EQ(full.capacity, 512);
  for (int k = 0; k < 4; ++k) EXPECT_EQ(full[256 + k], k + 1);
  full.InsertAt(0, full[259]);  // inside the array, with room
  EXPECT_EQ(full[0], 4);

  // Smaller then larger: the recorded capacity (the old count) exceeds the storage in between.
  AObjArray<std::string> names(3);
  names[0] = "Ef", names[1] = "Wb", names[2] = "Mc";
  names.SetSize(10);
  names.SetSize(5);
  EXPECT_EQ(names.capacity, 10);  // the observable value stays as documented
  names.SetSize(9);
  names[8] = "last";
  EXPECT_EQ(names[2], "Mc");
  EXPECT_EQ(names[7], "");
  EXPECT_EQ(names[8], "last");
  names.Add("added");
  EXPECT_EQ(names[9], "added");
  EXPECT_EQ(names.count, 10);

  // No storage after RemoveAll or a Load of count 0, while the capacity keeps its value.
  AArray<double> plain;
  plain.Add(1.5);
  plain.RemoveAll();
  plain.Add(2.5);
  EXPECT_EQ(plain.count, 1);
  EXPECT_EQ(plain[0], 2.5);
  AMemoryFile zero(std::string(4, '\0'));
  AArray<double> loaded;
  loaded.Add(1.0);
  ASSERT_TRUE(loaded.Load(zero));
  ASSERT_EQ(loaded.data, nullptr);
  loaded.Add(3.0);
  EXPECT_EQ(loaded[0], 3.0);
  AMemoryFile two(std::string("\x02\x00\x00\x00", 4) + std::string(16, '\0'));
  loaded.RemoveAll();
  ASSERT_TRUE(loaded.Load(two));  // capacity 256 recorded, no storage: Load must allocate
  EXPECT_EQ(loaded[1], 0.0);
  AObjArray<std::string> objects;
  objects.Add("a");
  objects.RemoveAll();
  objects.Add("b");
  EXPECT_EQ(objects[0], "b");
}

TEST(AMatrixStorage, AlignedAndReusedOnEqualElementCount) {
  AMatrix<float> m(3, 5);
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(m.data) % 32, 0u);
  for (std::uint32_t r = 0; r < 3; ++r)
    for (std::uint32_t c = 0; c < 5; ++c) m(r, c) = static_cast<float>(r * 10 + c);
  EXPECT_EQ(m.data[2 * 5 + 4], 24.0f);  // row-major

  float* kept = m.Resize(3, 5);
  EXPECT_EQ(kept[7], 12.0f);  // same shape: content stays

  AMatrix<double> target(3, 4);
  double* storage = target.data;
  AMatrix<double> source(2, 6);
  for (int i = 0; i < 12; ++i) source.data[i] = i * 0.5;
  target = source;
  EXPECT_EQ(target.data, storage);  // 2x6 into 3x4 reuses the storage
  EXPECT_EQ(target.rows, 2u);
  EXPECT_EQ(target.cols, 6u);
  EXPECT_EQ(target(1, 5), 5.5);

  AMatrix<double> copy(source);
  EXPECT_NE(copy.data, source.data);
  EXPECT_EQ(copy(1, 0), 3.0);

  AMatrix<double> other(1, 1);
  other = AMatrix<double>(4, 4);
  EXPECT_EQ(other.rows, 4u);
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(other.data) % 32, 0u);
}

TEST(AMatrixArithmetic, ProductAndCommonBlockSum) {
  AMatrix<double> a(2, 3), b(3, 2);
  const double av[] = {1, 2, 3, 4, 5, 6};
  const double bv[] = {7, 8, 9, 10, 11, 12};
  for (int i = 0; i < 6; ++i) a.data[i] = av[i], b.data[i] = bv[i];
  const AMatrix<double> p = a * b;
  ASSERT_EQ(p.rows, 2u);
  ASSERT_EQ(p.cols, 2u);
  EXPECT_EQ(p(0, 0), 58);
  EXPECT_EQ(p(0, 1), 64);
  EXPECT_EQ(p(1, 0), 139);
  EXPECT_EQ(p(1, 1), 154);

  AMatrix<double> m34(3, 4), m25(2, 5);
  for (int i = 0; i < 12; ++i) m34.data[i] = i;
  for (int i = 0; i < 10; ++i) m25.data[i] = 100 * i;
  const AMatrix<double> s = m34 + m25;
  ASSERT_EQ(s.rows, 2u);
  ASSERT_EQ(s.cols, 4u);
  EXPECT_EQ(s(1, 3), m34(1, 3) + m25(1, 3));
  EXPECT_EQ(s(1, 3), 7 + 800);  // m25(1, 3) is element 8 of its own rows
}

TEST(ContainerAllocation, OverflowingRequestsFailInsteadOfShortAllocation) {
  EXPECT_EQ(qvl::detail::SaturatedBytes(10, 8), 80u);
  EXPECT_EQ(qvl::detail::SaturatedBytes(-1, 8), SIZE_MAX);
  EXPECT_EQ(qvl::detail::SaturatedBytes(INT64_MAX, 16), SIZE_MAX);
#if !defined(__SANITIZE_ADDRESS__)  // the sanitizer's allocator aborts instead of throwing
  EXPECT_THROW(AMatrix<double>(0xFFFFFFFFu, 0xFFFFFFFFu), std::bad_alloc);
#endif
}

}  // namespace
