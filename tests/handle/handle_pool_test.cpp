#include "base/handle_pool.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

namespace {

int g_objects[3];
void* const kA = &g_objects[0];
void* const kB = &g_objects[1];

unsigned int Allocate(handlepoolobject& pool, void* object) {
  unsigned int h = 0xDEAD;
  EXPECT_EQ(pool.AllocateHandle(object, &h), HandleResultOk);
  return h;
}

// The entry of `handle`, with the state and object packed for comparison.
std::pair<std::uint32_t, void*> Entry(handlepoolobject& pool, unsigned int handle) {
  st_handle_entry e{0xEE, &g_objects[2], 0xEE};
  EXPECT_EQ(pool.GetEntry(handle, &e), HandleResultOk);
  EXPECT_EQ(e.reserved, 0u);
  return {e.state, e.object};
}

TEST(HandlePoolTest, RangeExhaustionAndReuseOfTheFreedNumber) {
  handlepoolobject pool;
  EXPECT_EQ(Entry(pool, 67582), std::make_pair(HandleStateNew, static_cast<void*>(nullptr)));
  for (unsigned int i = 0; i < HandleCount; ++i)
    EXPECT_EQ(Allocate(pool, kA), 65535 + i);

  unsigned int h = 0xDEAD;
  EXPECT_EQ(pool.AllocateHandle(kB, &h), HandleResultExhausted);
  EXPECT_EQ(h, 0u);
  pool.DisableHandle(65600);  // still taken until closed
  EXPECT_EQ(pool.AllocateHandle(kB, &h), HandleResultExhausted);
  pool.CloseHandle(65600);
  EXPECT_EQ(Allocate(pool, kB), 65600u);

  for (unsigned int outside : {0u, 65534u, 67583u, 0xFFFFFFFFu}) {
    st_handle_entry e{7, kA, 7};
    EXPECT_EQ(pool.GetEntry(outside, &e), HandleResultOutOfRange);
    EXPECT_EQ(e.state, 7u);  // untouched
    pool.DisableHandle(outside);
    pool.CloseHandle(outside);
  }
  EXPECT_EQ(pool.AllocateHandle(kB, &h), HandleResultExhausted);
}

TEST(HandlePoolTest, ClosedNumbersComeBackFirstOnceEachInFifoOrder) {
  handlepoolobject pool;
  const unsigned int a = Allocate(pool, kA), b = Allocate(pool, kA);
  pool.CloseHandle(b);
  EXPECT_EQ(Allocate(pool, kB), b);  // before any never-used number
  EXPECT_EQ(Allocate(pool, kB), 65537u);

  pool.CloseHandle(a);
  pool.CloseHandle(b);
  pool.CloseHandle(a);      // a second close must not queue `a` twice
  pool.CloseHandle(66000);  // never given out: cannot enter the queue
  EXPECT_EQ(Entry(pool, a), std::make_pair(HandleStateClosed, static_cast<void*>(nullptr)));
  EXPECT_EQ(Allocate(pool, kB), a);
  EXPECT_EQ(Allocate(pool, kB), b);
  EXPECT_EQ(Allocate(pool, kB), 65538u);
  // A stale copy of a reused number reaches the new object.
  EXPECT_EQ(Entry(pool, a), std::make_pair(HandleStateValid, kB));
}

// Three rounds of the whole table through the queue, closed in a shuffled
// order: the numbers come back in the order of closing however often the
// queue has gone round.
TEST(HandlePoolTest, FifoOrderHoldsAcrossManyTurnsOfTheQueue) {
  handlepoolobject pool;
  std::vector<unsigned int> handles;
  for (unsigned int i = 0; i < HandleCount; ++i)
    handles.push_back(Allocate(pool, kA));
  std::mt19937 random(7);
  for (int round = 0; round < 3; ++round) {
    std::shuffle(handles.begin(), handles.end(), random);
    for (unsigned int h : handles)
      pool.CloseHandle(h);
    for (unsigned int h : handles)
      ASSERT_EQ(Allocate(pool, kB), h);
  }
  unsigned int h = 0xDEAD;
  EXPECT_EQ(pool.AllocateHandle(kB, &h), HandleResultExhausted);
}

TEST(HandlePoolTest, DisableAndCloseInEitherOrderAndNullArguments) {
  handlepoolobject pool;
  const unsigned int a = Allocate(pool, kA);
  pool.DisableHandle(a);
  pool.DisableHandle(a);
  EXPECT_EQ(Entry(pool, a), std::make_pair(HandleStateDisabled, static_cast<void*>(nullptr)));
  pool.CloseHandle(a);
  pool.DisableHandle(a);
  EXPECT_EQ(Entry(pool, a).first, HandleStateClosed);
  pool.DisableHandle(66000);
  EXPECT_EQ(Entry(pool, 66000).first, HandleStateNew);

  unsigned int h = 0xDEAD;
  EXPECT_EQ(pool.AllocateHandle(nullptr, &h), HandleResultOk);
  EXPECT_EQ(h, 0xDEADu);
  EXPECT_EQ(pool.AllocateHandle(kA, nullptr), HandleResultOk);
  EXPECT_EQ(Allocate(pool, kA), a);  // the null calls took no number
}

}  // namespace
