// The closed-library helpers: whole-file reading that reuses its block, and a log that
// keeps every line whole, however long.
#include "scratch_dir.h"
#include "zcommon.h"

#include <gtest/gtest.h>

TEST(LoadContent, ReadsFilesOfChangingSizeThroughOneReusedPointer) {
    char* text = nullptr;
    EXPECT_LT(loadContent("/nonexistent", nullptr, &text), 0);
    EXPECT_EQ(text, nullptr);
    ScratchDir dir("loadcontent");
    std::string path = dir.path() + "/data.txt";
    for (int i = 0; i < 1000; ++i) {
        // Sizes sweep from empty to past the first block size and back.
        std::string content(static_cast<size_t>((i * 7919) % 9000), static_cast<char>('a' + i % 26));
        writeFile(path, content);
        FILE* file = fopen(path.c_str(), "r");
        int result = loadContent(path.c_str(), file, &text);
        fclose(file);
        ASSERT_EQ(result, static_cast<int>(content.size()));
        ASSERT_EQ(std::string(text), content) << "iteration " << i;
    }
}

// Lines longer than the stack buffer come out whole.
TEST(Tprintf, LinesPastTheStackBufferStayWhole) {
    for (size_t length : {1023, 1024, 5000}) {
        std::string line = std::string(length - 1, 'x') + "\n";
        testing::internal::CaptureStderr();
        tprintf("%s", line.c_str());
        EXPECT_EQ(testing::internal::GetCapturedStderr(), line);
    }
}
