#include <fcntl.h>
#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <string>
#include <vector>

#include "tests/keeping/keeper.h"

namespace {

using namespace Testing;
using std::chrono::minutes;
using DiskNumbers = std::vector<std::uint64_t>;

// While it lives, SQLite's writes fail with this error: with ENOSPC those behind a file's end; with EROFS,
// nothing can be opened for writing or removed either.
class DiskDouble {
 public:
  explicit DiskDouble(int error) {
    error_ = error;
    Replace("pwrite", reinterpret_cast<sqlite3_syscall_ptr>(&Write));
    Replace("pwrite64", reinterpret_cast<sqlite3_syscall_ptr>(&Write));
    Replace("open", reinterpret_cast<sqlite3_syscall_ptr>(&Open));
    Replace("unlink", reinterpret_cast<sqlite3_syscall_ptr>(&Unlink));
  }
  DiskDouble(const DiskDouble&) = delete;
  DiskDouble& operator=(const DiskDouble&) = delete;
  ~DiskDouble() {
    for (const char* name : {"pwrite", "pwrite64", "open", "unlink"}) Replace(name, nullptr);
  }

 private:
  static void Replace(const char* name, sqlite3_syscall_ptr by) {
    for (const char* files : {"unix", "unix-none"}) {
      auto* vfs = sqlite3_vfs_find(files);
      vfs->xSetSystemCall(vfs, name, by);
    }
  }
  static ssize_t Write(int file, const void* bytes, std::size_t many, off_t at) {
    struct stat status {};
    fstat(file, &status);
    const bool isThere = at + static_cast<off_t>(many) <= status.st_size;
    if (error_ == ENOSPC && isThere) return pwrite(file, bytes, many, at);
    errno = error_;
    return -1;
  }
  static int Open(const char* path, int flags, int mode) {
    if (error_ != EROFS || (flags & O_ACCMODE) == O_RDONLY) return open(path, flags, mode);
    errno = EROFS;
    return -1;
  }
  static int Unlink(const char* path) {
    if (error_ != EROFS) return unlink(path);
    errno = EROFS;
    return -1;
  }

  static inline int error_ = 0;
};

// A copy of what is on the disk while the store is open is what a crash leaves: the log isn't carried over
// yet.
void Crash(Keeper& keeper) {
  const auto left = keeper.folder / "left";
  std::filesystem::copy(keeper.folder / "guest", left);
  keeper.Close();
  std::filesystem::remove_all(keeper.folder / "guest");
  std::filesystem::rename(left, keeper.folder / "guest");
}

class UnwritableDiskTest : public testing::TestWithParam<int> {};

TEST_P(UnwritableDiskTest, GoesOnInMemoryAndComesBack) {
  Keeper keeper;
  const auto past = keeper.KeepSent("past");
  const auto first = keeper.Keep("first").value();
  const auto second = keeper.Keep("second").value();
  const auto third = keeper.Keep("third").value();
  std::uint64_t fourth = 0;
  std::uint64_t sent = 0;
  {
    const DiskDouble disk(GetParam());
    fourth = keeper.Keep("fourth").value();
    EXPECT_FALSE(keeper->IsOnDisk());
    EXPECT_GT(fourth, third);
    EXPECT_EQ(keeper.Waiting(), (DiskNumbers{first, second, third, fourth}));
    EXPECT_EQ(keeper->Read(third)->publication.topic, "third");
    keeper->MarkSent(first);
    keeper->Remove(second);
    keeper->Tidy();
    sent = keeper.KeepSent("sent");
    EXPECT_EQ(keeper.Waiting(), (DiskNumbers{third, fourth}));
    EXPECT_FALSE(keeper->Read(second));
    EXPECT_EQ(keeper.Past(), (std::vector<std::string>{"past", "sent"}));
    EXPECT_EQ(keeper->Items(), 6u);
    EXPECT_EQ(keeper.told.size(), 1u);
    EXPECT_NE(keeper.told[0].find(keeper.path), std::string::npos);
  }
  EXPECT_FALSE(keeper->IsOnDisk());
  // It's the same run, in which the wall clock has no say.
  const auto now = keeper->Now();
  keeper.clock.wall += minutes(600);
  keeper->Tidy();
  EXPECT_EQ(keeper->Now(), now);
  EXPECT_TRUE(keeper->IsOnDisk());
  EXPECT_EQ(keeper.told.size(), 2u);
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(keeper.Waiting(), (DiskNumbers{third, fourth}));
    EXPECT_EQ(keeper.Past(), (std::vector<std::string>{"past", "first", "sent"}));
    EXPECT_EQ(keeper->Read(fourth)->publication.topic, "fourth");
    EXPECT_EQ(keeper->Items(), 5u);
    EXPECT_TRUE(keeper->Read(past));
    keeper.Open();
  }
  EXPECT_GT(keeper.Keep("next"), sent);
  EXPECT_EQ(keeper.told.size(), 2u);
}

TEST_P(UnwritableDiskTest, CanBeReadFromTheStart) {
  Keeper keeper;
  const auto first = keeper.Keep("first", 9000).value();
  const auto last = keeper.Keep("last").value();
  Crash(keeper);
  std::uint64_t lost = 0;
  {
    const DiskDouble disk(GetParam());
    for (int run = 0; run < 3; ++run) {
      keeper.clock.Pass(minutes(1));
      keeper.told.clear();
      keeper.Open();
      EXPECT_EQ(keeper.Waiting(), (DiskNumbers{first, last}));
      EXPECT_EQ(keeper->Read(first)->publication.payload.size(), 9000u);
      EXPECT_EQ(keeper->Now(), minutes(run + 1));
      // What is only in memory is lost with it, but its number isn't given again.
      const auto number = keeper.Keep("lost").value();
      EXPECT_GT(number, std::max(last, lost));
      lost = number;
      EXPECT_EQ(keeper.told.size(), 1u);
    }
    keeper->MarkSent(first);
  }
  keeper->Tidy();
  EXPECT_TRUE(keeper->IsOnDisk());
  EXPECT_EQ(keeper.Waiting(), (DiskNumbers{last, lost}));
  keeper.Open();
  EXPECT_EQ(keeper.Waiting(), (DiskNumbers{last, lost}));
  EXPECT_EQ(keeper.Past(), (std::vector<std::string>{"first"}));
}

INSTANTIATE_TEST_SUITE_P(WithError, UnwritableDiskTest, testing::Values(ENOSPC, EROFS, EIO));

TEST(DiskTest, MemoryIsBoundedAndItsOverflowIsRefused) {
  Keeper keeper;
  const auto first = keeper.Keep("first").value();
  const DiskDouble disk(ENOSPC);
  std::uint64_t bytes = 0;
  while (keeper.Keep("a", 60000)) {
    bytes += 60000;
    ASSERT_LT(bytes, keeper.bounds.bytesInMemory);
  }
  EXPECT_GT(bytes, keeper.bounds.bytesInMemory * 8 / 10);
  EXPECT_TRUE(keeper->Read(first));
}

TEST(DiskTest, AFullOneCostsNothingWhereTheFileHasRoom) {
  Keeper keeper;
  // First the file becomes large, then its log, which is no part of it when it is closed.
  for (const int many : {20, 15}) {
    keeper.Open();
    for (int i = 0; i < many; ++i) keeper.KeepSent("past", 200'000);
    keeper.clock.Pass(minutes(61));
    keeper->Tidy();
    EXPECT_EQ(keeper->Items(), 0u);
  }
  const DiskDouble disk(ENOSPC);
  std::uint64_t bytes = 0;
  while (keeper.Keep("a", 10'000) && keeper->IsOnDisk()) bytes += 10'000;
  EXPECT_GE(bytes, 3'000'000u);
  EXPECT_EQ(keeper.told.size(), 1u);
}

TEST(DiskTest, AFolderThatCanNotBe) {
  Keeper keeper;
  keeper.clock.Pass(minutes(600));
  keeper.Keep("a");
  keeper.path = keeper.folder.Write("file", "") + "/store.db";
  keeper.Open();
  const auto number = keeper.Keep("b").value();
  keeper.clock.Pass(minutes(59));
  keeper->MarkSent(keeper.Keep("c").value());
  keeper->Tidy();
  EXPECT_FALSE(keeper->IsOnDisk());
  EXPECT_EQ(keeper.told.size(), 1u);
  // It becomes the one that was there all the time, of which nothing was known. What is in memory is no older
  // by that.
  std::filesystem::remove(keeper.folder / "file");
  std::filesystem::rename(keeper.folder / "guest", keeper.folder / "file");
  keeper->Tidy();
  EXPECT_TRUE(keeper->IsOnDisk());
  EXPECT_EQ(keeper.told.size(), 2u);
  EXPECT_EQ(keeper.Waiting(), (DiskNumbers{1, number}));
  EXPECT_EQ(keeper.Past(), (std::vector<std::string>{"c"}));
}

TEST(DiskTest, NobodyElseHasTheFile) {
  Keeper keeper;
  keeper.Keep("a");
  std::vector<std::string> told;
  GuestAgent::Store second(keeper.path, {}, keeper.clock,
                           [&](const std::string& line) { told.push_back(line); });
  EXPECT_FALSE(second.IsOnDisk());
  EXPECT_EQ(second.Items(), 0u);
  EXPECT_EQ(told.size(), 1u);
  EXPECT_TRUE(keeper.Keep("b"));
  keeper.Close();
  second.Tidy();
  EXPECT_TRUE(second.IsOnDisk());
  EXPECT_EQ(second.Items(), 2u);
}

TEST(DiskTest, AFileThatHasBeenRemovedIsMadeAgain) {
  Keeper keeper;
  const auto lost = keeper.Keep("a").value();
  std::filesystem::remove_all(keeper.folder / "guest");
  keeper->Tidy();
  EXPECT_TRUE(keeper->IsOnDisk());
  EXPECT_EQ(keeper.told.size(), 2u);
  const auto number = keeper.Keep("b").value();
  EXPECT_GT(number, lost);
  keeper.Open();
  EXPECT_EQ(keeper.Waiting(), DiskNumbers{number});
}

class BrokenFileTest : public testing::Test {
 protected:
  BrokenFileTest() {
    const std::vector<GuestAgent::Item> items(500, MakeItem("a", 3000));
    last = keeper->Keep(items).value() + items.size() - 1;
  }
  void ExpectBegunAnew() {
    EXPECT_TRUE(keeper->IsOnDisk());
    EXPECT_EQ(keeper.told.size(), 1u);
    EXPECT_TRUE(std::filesystem::exists(keeper.path + ".broken"));
    const auto number = keeper.Keep("b").value();
    EXPECT_GT(number, last);
    keeper.Open();
    EXPECT_EQ(keeper.Waiting(), DiskNumbers{number});
    EXPECT_EQ(keeper.told.size(), 1u);
    last = number;
  }
  void Overwrite(std::streamoff from, std::size_t bytes) const {
    std::fstream file(keeper.path, std::ios::in | std::ios::out | std::ios::binary);
    file.seekp(from) << std::string(bytes, '\x5a');
  }
  void Run(const char* sql) const {
    sqlite3* connection = nullptr;
    ASSERT_EQ(sqlite3_open(keeper.path.c_str(), &connection), SQLITE_OK);
    EXPECT_EQ(sqlite3_exec(connection, sql, nullptr, nullptr, nullptr), SQLITE_OK);
    sqlite3_close(connection);
  }

  Keeper keeper;
  std::uint64_t last = 0;
};

TEST_F(BrokenFileTest, AtTheStart) {
  for (const char* content : {"nothing that SQLite knows", "another one"}) {
    keeper.Close();
    keeper.told.clear();
    keeper.clock.Pass(milliseconds(1));
    std::ofstream(keeper.path, std::ios::trunc) << content << std::string(5000, '.');
    keeper.Open();
    ExpectBegunAnew();
    EXPECT_EQ(ReadFile(keeper.path + ".broken").substr(0, std::string(content).size()), content);
  }
}

TEST_F(BrokenFileTest, InTheMiddle) {
  keeper.Open();
  Overwrite(4096, 4096 * std::size_t{400});
  EXPECT_FALSE(keeper->Read(last / 2));
  keeper->Tidy();
  ExpectBegunAnew();
}

TEST_F(BrokenFileTest, OfAnotherVersion) {
  keeper.Close();
  Run("PRAGMA user_version = 2");
  keeper.Open();
  ExpectBegunAnew();
}

TEST_F(BrokenFileTest, OfOtherTables) {
  keeper.Close();
  Run("ALTER TABLE items RENAME TO others");
  keeper.Open();
  ExpectBegunAnew();
}

TEST_F(BrokenFileTest, WithoutItsStateNoNumberComesTwice) {
  keeper.Close();
  Run("DELETE FROM state");
  keeper.Open();
  EXPECT_EQ(keeper.Keep("b"), last + 1);
  EXPECT_EQ(keeper.told.size(), 0u);
}

TEST_F(BrokenFileTest, ThatCanNotBeSetAside) {
  keeper.Close();
  std::filesystem::create_directories(keeper.path + ".broken/full");
  Overwrite(0, 4096);
  keeper.Open();
  EXPECT_FALSE(keeper->IsOnDisk());
  EXPECT_TRUE(keeper.Keep("b"));
  keeper->Tidy();
  EXPECT_EQ(keeper.told.size(), 1u);
}

}  // namespace
