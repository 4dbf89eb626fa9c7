// The closed-library helpers: whole-file reading that reuses its block, and a log that
// keeps every line whole under concurrent writers.
#include "scratch_dir.h"
#include "zcommon.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

TEST(LoadContent, ReadsFilesOfChangingSizeThroughOneReusedPointer) {
    ScratchDir dir("loadcontent");
    std::string path = dir.path() + "/data.txt";
    char* text = nullptr;
    for (int i = 0; i < 10000; ++i) {
        // Sizes sweep from empty to past the first block size and back.
        size_t size = static_cast<size_t>((i * 7919) % 9000);
        std::string content(size, static_cast<char>('a' + i % 26));
        writeFile(path, content);
        FILE* file = fopen(path.c_str(), "r");
        ASSERT_NE(file, nullptr);
        int result = loadContent(path.c_str(), file, &text);
        fclose(file);
        ASSERT_EQ(result, static_cast<int>(size));
        ASSERT_NE(text, nullptr);
        ASSERT_EQ(std::string(text), content) << "iteration " << i;
    }
}

TEST(LoadContent, RejectsMissingFileAndKeepsNullPointer) {
    char* text = nullptr;
    EXPECT_LT(loadContent("/nonexistent", nullptr, &text), 0);
    EXPECT_EQ(text, nullptr);
}

TEST(Tprintf, ConcurrentLinesStayWhole) {
    testing::internal::CaptureStderr();
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([t] {
            std::string payload(300, static_cast<char>('A' + t));
            for (int i = 0; i < 200; ++i)
                tprintf("line %d %s end\n", t, payload.c_str());
        });
    }
    for (auto& thread : threads)
        thread.join();
    std::string out = testing::internal::GetCapturedStderr();
    size_t start = 0, lines = 0;
    while (start < out.size()) {
        size_t end = out.find('\n', start);
        ASSERT_NE(end, std::string::npos);
        std::string line = out.substr(start, end - start);
        ASSERT_EQ(line.size(), 311u) << line;
        char tag = line[7];
        EXPECT_EQ(line.find_first_not_of(tag, 7), 307u) << line;
        start = end + 1;
        ++lines;
    }
    EXPECT_EQ(lines, 800u);
}

TEST(Tprintf, LongLineIsNotTruncated) {
    testing::internal::CaptureStderr();
    std::string payload(5000, 'x');
    tprintf("%s\n", payload.c_str());
    EXPECT_EQ(testing::internal::GetCapturedStderr(), payload + "\n");
}
