// The FileTransferClient module, loaded by name as the runtime loads it.

#include <vqfiletransfer/iVQKFileManager.h>
#include <vqkudmrt/UDMFramework.h>
#include <vqkudmrt/UDMUtils.h>
#include <vqlmosa/osaDynamicObject.h>

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <memory>

#include "temp_dir.h"

namespace fs = std::filesystem;

namespace {

class FileManagerTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(vqLMUtils::UtilsLoadLibrary("FileTransferClient", m_module))
        << m_module.GetLastError().GetText();
    m_create =
        reinterpret_cast<CreateFileManagerFunction>(m_module.FindSymbol("CreateFileManager"));
    ASSERT_NE(m_create, nullptr) << m_module.GetLastError().GetText();
    m_manager = Create(m_keyFile);
  }

  std::unique_ptr<iVQKFileManager> Create(const fs::path& keyFile) {
    std::unique_ptr<iVQKFileManager> manager(m_create());
    EXPECT_NE(manager, nullptr);
    EXPECT_TRUE(manager->SetKeyFile(keyFile.string()));
    return manager;
  }

  vqString Encode(const vqString& password) {
    vqString encoded;
    const VQKFileManagerStatus status = m_manager->EncodePassword(password, encoded);
    EXPECT_TRUE(status) << status.GetText();
    return encoded;
  }

  TestDirectory m_dir{"udm-filetransfer"};
  fs::path m_keyFile = m_dir.path() / "master.db.key";
  osaDynamicObject m_module;
  CreateFileManagerFunction m_create = nullptr;
  std::unique_ptr<iVQKFileManager> m_manager;
};

TEST_F(FileManagerTest, IsFoundByNameInThePluginDirectory) {
  const vqString& pluginDir = vqkudm::UDMFramework::GetInstance()->GetInstallLayout().pluginDir;
  EXPECT_EQ(fs::path(m_module.GetName().str()).parent_path(), fs::path(pluginDir.str()));

  osaDynamicObject missing;
  EXPECT_FALSE(vqLMUtils::UtilsLoadLibrary("NoSuchClient", missing));
  EXPECT_NE(missing.GetLastError().GetText().find("libNoSuchClient.so"), vqString::npos)
      << missing.GetLastError().GetText();
}

TEST_F(FileManagerTest, SealsEachValueAfreshAndDecodesItBack) {
  for (const vqString& password : {vqString("s3cr'et"), vqString(), vqString("pässwörd"),
                                   vqString(std::string("nul\0inside", 10))}) {
    const vqString first = Encode(password);
    const vqString second = Encode(password);
    EXPECT_EQ(first.rfind("vqpw1:", 0), 0u) << first;
    EXPECT_NE(first, second) << "a fresh nonce per value";
    if (!password.empty()) {
      EXPECT_EQ(first.find(password), vqString::npos);
    }
    for (const vqString& encoded : {first, second}) {
      vqString decoded = "untouched";
      const VQKFileManagerStatus status = m_manager->DecodePassword(encoded, decoded);
      ASSERT_TRUE(status) << status.GetText();
      EXPECT_EQ(decoded, password);
    }
  }
  // Another manager, as in a later process, reads the same key file.
  vqString decoded;
  EXPECT_TRUE(Create(m_keyFile)->DecodePassword(Encode("kept"), decoded));
  EXPECT_EQ(decoded, "kept");
}

TEST_F(FileManagerTest, CreatesTheKeyFileOwnerOnlyOnFirstEncodeWhateverTheUmask) {
  vqString decoded;
  vqString sealed;
  EXPECT_EQ(m_manager->DecodePassword("vqpw1:" + std::string(60, 'A'), decoded).GetKind(),
            VQKFmNoKeyFile);
  EXPECT_FALSE(fs::exists(m_keyFile)) << "decoding never creates a key";

  const mode_t previous = ::umask(0);
  const VQKFileManagerStatus status = m_manager->EncodePassword("pw", sealed);
  ::umask(previous);
  ASSERT_TRUE(status) << status.GetText();
  struct stat info {};
  ASSERT_EQ(::stat(m_keyFile.c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 07777, 0600u);
  EXPECT_EQ(info.st_size, 32);
  EXPECT_EQ(std::distance(fs::directory_iterator(m_dir.path()), fs::directory_iterator()), 1)
      << "no temporary file is left behind";
}

TEST_F(FileManagerTest, RefusesChangedTruncatedAndForeignValues) {
  const vqString password = "hunter2-long-enough";
  const vqString sealed = Encode(password);
  vqString flipped = sealed;
  char& middle = flipped[flipped.size() / 2];
  middle = middle == 'A' ? 'B' : 'A';
  TestDirectory other("udm-filetransfer-other");
  vqString foreign;
  ASSERT_TRUE(Create(other.path() / "other.key")->EncodePassword(password, foreign));

  for (const vqString& bad :
       {flipped, vqString(sealed.substr(0, sealed.size() - 4)), vqString("vqpw1:AAAA"),
        vqString("vqpw1:not base64!"), password, vqString(), foreign}) {
    vqString decoded = "untouched";
    const VQKFileManagerStatus status = m_manager->DecodePassword(bad, decoded);
    EXPECT_EQ(status.GetKind(), VQKFmRejected) << bad << ": " << status.GetText();
    EXPECT_EQ(decoded, "untouched");
    EXPECT_EQ(status.GetText().find(password), vqString::npos) << status.GetText();
  }
}

TEST_F(FileManagerTest, RefusesKeyFilesThatAreNotPrivateKeys) {
  const vqString sealed = Encode("pw");
  vqString decoded;
  fs::permissions(m_keyFile, fs::perms::group_read | fs::perms::others_read, fs::perm_options::add);
  VQKFileManagerStatus status = Create(m_keyFile)->DecodePassword(sealed, decoded);
  EXPECT_EQ(status.GetKind(), VQKFmFailed);
  EXPECT_NE(status.GetText().find("mode 0644"), vqString::npos) << status.GetText();

  const fs::path shortKey = m_dir.path() / "short.key";
  std::ofstream(shortKey) << "too short";
  fs::permissions(shortKey, fs::perms::owner_read | fs::perms::owner_write,
                  fs::perm_options::replace);
  status = Create(shortKey)->EncodePassword("pw", decoded);
  EXPECT_EQ(status.GetKind(), VQKFmFailed);
  EXPECT_NE(status.GetText().find("expected 32 bytes, found 9"), vqString::npos)
      << status.GetText();

  status = Create(m_dir.path() / "missing" / "dir.key")->EncodePassword("pw", decoded);
  EXPECT_EQ(status.GetKind(), VQKFmFailed);
  EXPECT_NE(status.GetText().find("missing"), vqString::npos) << status.GetText();
}

}  // namespace
