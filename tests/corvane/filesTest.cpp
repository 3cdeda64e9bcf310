#include "platform/corvane/files.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>

#include "platform/corvane/exception.h"
#include "tests/corvane/temporaryFolder.h"

namespace {

auto* const factory = Corvane::System::SystemFactory::sInstance;

TEST(Files, WritesIntoANewFolder) {
  const TemporaryFolder folder;
  const auto path = factory->MakePath(folder / "a/b/c.PID");
  const auto parent = path->GetParent();
  EXPECT_EQ(parent->GetText(), folder / "a/b");
  EXPECT_FALSE(factory->DirectoryExists(*parent));
  EXPECT_TRUE(factory->CreateDirectory(*parent));
  EXPECT_TRUE(factory->DirectoryExists(*parent));
  for (const char* content : {"a longer first content", "12"}) {
    const auto file = factory->OpenFileForWriting(*path);
    file->Write(content);
    file->Flush();
    EXPECT_EQ(ReadFile(path->GetText()), content);
    file->Close();
  }
}

TEST(Files, FailuresTellPathAndReason) {
  const TemporaryFolder folder;
  const std::string file = folder.Write("file", "");
  EXPECT_FALSE(factory->DirectoryExists(*factory->MakePath(file)));
  EXPECT_FALSE(factory->CreateDirectory(*factory->MakePath(file + "/below")));
  EXPECT_EQ(errno, ENOTDIR);
  try {
    factory->OpenFileForWriting(*factory->MakePath(folder / "absent/file"));
    FAIL();
  } catch (const Corvane::Exception& error) {
    EXPECT_EQ(error.GetText(), "cannot open " + (folder / "absent/file") + ": No such file or directory");
  }
  const auto full = factory->OpenFileForWriting(*factory->MakePath("/dev/full"));
  full->Write("bytes");
  EXPECT_THROW(full->Flush(), Corvane::Exception);
}

}  // namespace
