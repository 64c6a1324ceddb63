#include "base/handle_pool.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

int g_objects[4];
void* const A = &g_objects[0];
void* const B = &g_objects[1];
void* const C = &g_objects[2];

unsigned int Allocate(handlepoolobject& pool, void* object) {
  unsigned int h = 0xDEAD;
  EXPECT_EQ(pool.AllocateHandle(object, &h), HandleResultOk);
  return h;
}

st_handle_entry Entry(handlepoolobject& pool, unsigned int handle) {
  st_handle_entry e{0xEE, &g_objects[3], 0xEE};
  EXPECT_EQ(pool.GetEntry(handle, &e), HandleResultOk);
  return e;
}

TEST(HandlePoolTest, NumbersRangeAndExhaustion) {
  handlepoolobject pool;
  const st_handle_entry fresh = Entry(pool, 67582);
  EXPECT_EQ(fresh.state, HandleStateNew);
  EXPECT_EQ(fresh.object, nullptr);
  EXPECT_EQ(fresh.reserved, 0u);

  std::vector<unsigned int> handles;
  for (unsigned int i = 0; i < HandleCount; ++i)
    handles.push_back(Allocate(pool, A));
  EXPECT_EQ(handles[0], 65535u);
  EXPECT_EQ(handles[1], 65536u);
  EXPECT_EQ(handles[2], 65537u);
  EXPECT_EQ(handles.back(), 67582u);

  unsigned int h = 0xDEAD;
  EXPECT_EQ(pool.AllocateHandle(B, &h), HandleResultExhausted);
  EXPECT_EQ(h, 0u);

  // A disabled handle keeps its number taken.
  pool.DisableHandle(65600);
  EXPECT_EQ(pool.AllocateHandle(B, &h), HandleResultExhausted);
  pool.CloseHandle(65600);
  EXPECT_EQ(Allocate(pool, B), 65600u);
  EXPECT_EQ(Entry(pool, 65600).object, B);

  // Out of range: reported by GetEntry, ignored by the others.
  for (unsigned int outside : {0u, 65534u, 67583u, 0xFFFFFFFFu}) {
    st_handle_entry e{7, C, 7};
    EXPECT_EQ(pool.GetEntry(outside, &e), HandleResultOutOfRange) << outside;
    EXPECT_EQ(e.state, 7u);
    EXPECT_EQ(e.object, C);
    pool.DisableHandle(outside);
    pool.CloseHandle(outside);
  }
  EXPECT_EQ(pool.AllocateHandle(B, &h), HandleResultExhausted);
}

TEST(HandlePoolTest, ClosedNumbersComeBackFirstInFifoOrder) {
  handlepoolobject pool;
  const unsigned int a = Allocate(pool, A);
  const unsigned int b = Allocate(pool, A);
  Allocate(pool, A);

  // Reused at once although never-used numbers remain; nextHandle stays.
  pool.CloseHandle(b);
  EXPECT_EQ(Allocate(pool, B), b);
  EXPECT_EQ(Allocate(pool, B), 65538u);

  pool.CloseHandle(a);
  pool.CloseHandle(b);
  EXPECT_EQ(Allocate(pool, C), a);
  EXPECT_EQ(Allocate(pool, C), b);

  // A stale copy of a reused number reaches the new object.
  const st_handle_entry stale = Entry(pool, b);
  EXPECT_EQ(stale.state, HandleStateValid);
  EXPECT_EQ(stale.object, C);
}

TEST(HandlePoolTest, CloseOnlyQueuesTakenNumbersOnce) {
  handlepoolobject pool;
  const unsigned int a = Allocate(pool, A);
  pool.CloseHandle(a);
  pool.CloseHandle(a);
  const st_handle_entry closed = Entry(pool, a);
  EXPECT_EQ(closed.state, HandleStateClosed);
  EXPECT_EQ(closed.object, nullptr);
  EXPECT_EQ(Allocate(pool, B), a);
  EXPECT_EQ(Allocate(pool, B), 65536u);  // not `a` a second time

  // A number never given out cannot enter the queue.
  pool.CloseHandle(66000);
  EXPECT_EQ(Entry(pool, 66000).state, HandleStateNew);
  EXPECT_EQ(Allocate(pool, B), 65537u);
}

TEST(HandlePoolTest, DisableAndCloseInEitherOrder) {
  handlepoolobject pool;
  const unsigned int a = Allocate(pool, A);
  pool.DisableHandle(a);
  pool.DisableHandle(a);
  st_handle_entry e = Entry(pool, a);
  EXPECT_EQ(e.state, HandleStateDisabled);
  EXPECT_EQ(e.object, nullptr);
  EXPECT_EQ(e.reserved, 0u);
  pool.CloseHandle(a);
  EXPECT_EQ(Entry(pool, a).state, HandleStateClosed);

  const unsigned int b = Allocate(pool, B);  // a again, from the queue
  EXPECT_EQ(b, a);
  pool.CloseHandle(b);
  pool.DisableHandle(b);
  EXPECT_EQ(Entry(pool, b).state, HandleStateClosed);

  // Disabling a new number does nothing either.
  pool.DisableHandle(66000);
  EXPECT_EQ(Entry(pool, 66000).state, HandleStateNew);
}

TEST(HandlePoolTest, NullArgumentsReportSuccessAndTakeNothing) {
  handlepoolobject pool;
  unsigned int h = 0xDEAD;
  EXPECT_EQ(pool.AllocateHandle(nullptr, &h), HandleResultOk);
  EXPECT_EQ(h, 0xDEADu);
  EXPECT_EQ(pool.AllocateHandle(A, nullptr), HandleResultOk);
  EXPECT_EQ(Allocate(pool, A), 65535u);
}

}  // namespace
