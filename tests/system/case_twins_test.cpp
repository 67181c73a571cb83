#include <gtest/gtest.h>

#include <filesystem>
#include <thread>

#include "system/qvfile.h"
#include "tests/support/diag_recorder.h"
#include "tests/support/temp_folder.h"
#include "tests/support/threads.h"

namespace {

using qvtest::CDiagRecorder;
using qvtest::CTempFolder;

void OpenAndClose(const std::wstring& path) {
  QvFileHandle handle = -1;
  ASSERT_EQ(QV_OpenFile(path.c_str(), kQvFileRead, kQvShareRead | kQvShareWrite, kQvAnyAttributes, &handle), 0);
  QV_CloseFile(handle);
}

TEST(CaseTwins, AreToldOfOnceHoweverTheyAreAskedFor) {
  const CTempFolder folder;
  for (const char* name : {"A.png", "a.png", "b.png"}) folder.MakeFile(name);
  CDiagRecorder diag;
  for (int round = 0; round < 3; ++round)
    for (const char* name : {"b.png", "a.png", "A.png", "A.PNG"}) OpenAndClose(folder.Wide(name));
  const auto texts = diag.TakeTexts();
  ASSERT_EQ(texts.size(), 1u);
  EXPECT_NE(texts[0].find(folder.Wide()), std::wstring::npos);
  EXPECT_NE(texts[0].find(L"A.png, a.png"), std::wstring::npos);
  EXPECT_EQ(texts[0].find(L"b.png"), std::wstring::npos);
}

TEST(CaseTwins, EveryKeyHasItsOwnMessage) {
  const CTempFolder folder;
  for (const char* name : {"A.png", "a.png", "\xC3\x84.tif", "\xC3\xA4.tif"}) folder.MakeFile(name);
  CDiagRecorder diag;
  OpenAndClose(folder.Wide("a.png"));
  OpenAndClose(folder.Wide("\xC3\xA4.tif"));
  EXPECT_EQ(diag.TakeTexts().size(), 2u);
}

// A new folder may have the number of one that is gone; a renamed one has it surely.
TEST(CaseTwins, AFolderWithTheNumberOfAFormerOneIsAnother) {
  const CTempFolder folder;
  folder.MakeFolder("former");
  for (const char* name : {"former/A.png", "former/a.png"}) folder.MakeFile(name);
  CDiagRecorder diag;
  OpenAndClose(folder.Wide("former/a.png"));
  EXPECT_EQ(diag.TakeTexts().size(), 1u);
  std::filesystem::rename(folder.Path("former"), folder.Path("new"));
  OpenAndClose(folder.Wide("new/a.png"));
  EXPECT_EQ(diag.TakeTexts().size(), 1u);
  OpenAndClose(folder.Wide("new/A.png"));
  EXPECT_TRUE(diag.TakeTexts().empty());
}

TEST(CaseTwins, AFolderByAnotherPathIsTheSame) {
  const CTempFolder folder;
  folder.MakeFolder("real");
  for (const char* name : {"real/A.png", "real/a.png"}) folder.MakeFile(name);
  std::filesystem::create_directory_symlink(folder.Path("real"), folder.Path("link"));
  CDiagRecorder diag;
  for (const char* name : {"real/a.png", "link/a.png", "real/A.png"}) OpenAndClose(folder.Wide(name));
  EXPECT_EQ(diag.TakeTexts().size(), 1u);
}

TEST(CaseTwins, FolderWithoutThemIsSilent) {
  const CTempFolder folder;
  folder.MakeFolder("Sub");
  for (const char* name : {"A.png", "Sub/a.png", "b.png"}) folder.MakeFile(name);
  CDiagRecorder diag;
  for (const char* name : {"a.png", "sub/A.png", "b.png"}) OpenAndClose(folder.Wide(name));
  EXPECT_TRUE(diag.TakeTexts().empty());
}

TEST(CaseTwins, OneThatComesLaterIsToldOf) {
  const CTempFolder folder;
  folder.MakeFile("a.png");
  CDiagRecorder diag;
  OpenAndClose(folder.Wide("a.png"));
  EXPECT_TRUE(diag.TakeTexts().empty());
  folder.MakeFile("A.png");
  // A folder that changes is not read again at every opening.
  while (diag.TakeTexts().empty()) {
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
    OpenAndClose(folder.Wide("a.png"));
  }
}

TEST(CaseTwins, ThreadsThatMeetThemGetOneMessage) {
  const CTempFolder folder;
  for (const char* name : {"A.png", "a.png"}) folder.MakeFile(name);
  CDiagRecorder diag;
  qvtest::RunThreads(4, [&](int) {
    for (int round = 0; round < 50; ++round) OpenAndClose(folder.Wide("a.png"));
  });
  EXPECT_EQ(diag.TakeTexts().size(), 1u);
}

// A host that answers a message with a look at the files must not stand in its own way.
TEST(CaseTwins, SinkMayOpenFiles) {
  const CTempFolder folder;
  for (const char* name : {"A.png", "a.png"}) folder.MakeFile(name);
  struct SContext {
    std::wstring path;
    int messages = 0;
  } context{folder.Wide("A.PNG"), 0};
  QV_SetDiagSink(
      [](void* given, const SQvDiagMessage&) {
        auto* self = static_cast<SContext*>(given);
        ++self->messages;
        OpenAndClose(self->path);
      },
      &context);
  OpenAndClose(folder.Wide("a.png"));
  QV_SetDiagSink(nullptr, nullptr);
  EXPECT_EQ(context.messages, 1);
}

}  // namespace
