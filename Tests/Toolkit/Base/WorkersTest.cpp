// What threads that share out work promise: order, nesting, bounds, an early end.
#include "Toolkit/Base/Workers.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <numeric>
#include <stdexcept>
#include <thread>
#include <vector>

namespace {

std::vector<size_t> UpTo(size_t count) {
  std::vector<size_t> numbers(count);
  std::iota(numbers.begin(), numbers.end(), size_t{0});
  return numbers;
}

// Takes longer for some numbers than for others, so that threads overtake each other.
void Linger(size_t number) {
  if (number % 3 == 0) std::this_thread::sleep_for(std::chrono::microseconds(200));
}

class Workers : public testing::TestWithParam<unsigned> {};

TEST_P(Workers, TakeInOrderWhatIsMadeInAny) {
  kz::Workers workers(GetParam());
  EXPECT_EQ(workers.Count(), GetParam());
  const std::thread::id self = std::this_thread::get_id();
  std::vector<size_t> made(300, 0);
  std::vector<size_t> taken;
  const auto make = [&](size_t number) {
    Linger(number);
    made[number] = number + 1;
  };
  workers.InOrder(made.size(), make, [&](size_t number) {
    EXPECT_EQ(std::this_thread::get_id(), self);
    EXPECT_EQ(made[number], number + 1);
    taken.push_back(number);
    return true;
  });
  EXPECT_EQ(taken, UpTo(made.size()));
  workers.InOrder(0, make, [](size_t) { return false; });

  std::vector<std::atomic<int>> runs(300);
  workers.Each(runs.size(), [&](size_t number) { ++runs[number]; });
  for (const std::atomic<int>& times : runs) EXPECT_EQ(times, 1);
}

TEST_P(Workers, HoldNoMoreThanTwoForEachThreadAtEachDepth) {
  kz::Workers workers(GetParam());
  std::atomic<int> documents = 0;
  std::atomic<int> pages = 0;
  std::atomic<int> mostDocuments = 0;
  std::atomic<int> mostPages = 0;
  const auto raise = [](std::atomic<int>& held, std::atomic<int>& most) {
    const int now = ++held;
    for (int before = most; before < now && !most.compare_exchange_weak(before, now);) {
    }
  };
  std::vector<std::vector<size_t>> taken(40);
  std::vector<size_t> order;
  workers.InOrder(
      taken.size(),
      [&](size_t document) {
        raise(documents, mostDocuments);
        workers.InOrder(
            20,
            [&](size_t page) {
              raise(pages, mostPages);
              Linger(page);
            },
            [&](size_t page) {
              taken[document].push_back(page);
              --pages;
              return true;
            });
      },
      [&](size_t document) {
        --documents;
        order.push_back(document);
        return true;
      });
  EXPECT_EQ(order, UpTo(taken.size()));
  for (const std::vector<size_t>& ofOne : taken) EXPECT_EQ(ofOne, UpTo(20));
  const int two = static_cast<int>(2 * GetParam());
  EXPECT_LE(mostDocuments, two);
  // Every document that is under way may have one page that it waits for.
  EXPECT_LE(mostPages, two + static_cast<int>(GetParam()));
}

TEST_P(Workers, EndEarlyWhenOneIsRefusedOrTakingThrows) {
  kz::Workers workers(GetParam());
  for (const bool throws : {false, true}) {
    std::atomic<int> made = 0;
    std::vector<size_t> taken;
    const auto run = [&] {
      workers.InOrder(
          1000, [&](size_t) { ++made; },
          [&](size_t number) {
            taken.push_back(number);
            if (number == 10 && throws) throw std::runtime_error("refused");
            return number < 10;
          });
    };
    if (throws) {
      EXPECT_THROW(run(), std::runtime_error);
    } else {
      run();
    }
    EXPECT_EQ(taken, UpTo(11));
    const int atEnd = made;
    EXPECT_LE(atEnd, 11 + static_cast<int>(2 * GetParam()));
    // What was made and never taken leaves room for the next call.
    taken.clear();
    workers.InOrder(
        50, [&](size_t) { ++made; },
        [&](size_t number) {
          taken.push_back(number);
          return true;
        });
    EXPECT_EQ(taken, UpTo(50));
    EXPECT_EQ(made, atEnd + 50);
  }
}

// Three deep, from two threads outside, with calls in takes too: nobody waits for ever.
TEST_P(Workers, NestAsDeepAsTheyLike) {
  kz::Workers workers(GetParam());
  std::atomic<int> leaves = 0;
  const auto leaf = [&](size_t number) {
    Linger(number);
    ++leaves;
  };
  const auto take = [&](size_t) {
    workers.Each(2, leaf);
    return true;
  };
  const auto tree = [&] {
    workers.InOrder(
        6, [&](size_t) { workers.Each(3, [&](size_t) { workers.InOrder(4, leaf, take); }); }, take);
  };
  std::thread other(tree);
  tree();
  other.join();
  EXPECT_EQ(leaves, 2 * (6 * 3 * 4 * 3 + 6 * 2));
}

INSTANTIATE_TEST_SUITE_P(Threads, Workers, testing::Values(1U, 2U, 5U),
                         [](const auto& tested) { return std::to_string(tested.param); });

TEST(Threads, WorkAtTheSameTime) {
  kz::Workers workers(3);
  std::atomic<int> present = 0;
  // Each waits for the others, with an end to it.
  const auto until = std::chrono::steady_clock::now() + std::chrono::seconds(60);
  workers.Each(3, [&](size_t) {
    ++present;
    while (present < 3 && std::chrono::steady_clock::now() < until) std::this_thread::yield();
  });
  EXPECT_LT(std::chrono::steady_clock::now(), until);
  EXPECT_GE(kz::Workers::Processors(), 1U);
}

}  // namespace
