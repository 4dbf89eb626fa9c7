// The closed-library helpers: whole-file reading that reuses its block, and a log that
// keeps every line whole, however long, under concurrent writers.
#include "scratch_dir.h"
#include "zcommon.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

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

TEST(Tprintf, LinesStayWholeUnderConcurrentWritersAndPastTheStackBuffer) {
    testing::internal::CaptureStderr();
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([t] {
            for (int i = 0; i < 200; ++i)
                tprintf("line %d %s end\n", t, std::string(300, static_cast<char>('A' + t)).c_str());
        });
    for (auto& thread : threads)
        thread.join();
    std::string out = testing::internal::GetCapturedStderr();
    ASSERT_EQ(out.size(), 800u * 312);
    for (size_t start = 0; start < out.size(); start += 312)
        ASSERT_EQ(out.substr(start, 312), "line " + out.substr(start + 5, 1) + " " +
                                              std::string(300, 'A' + out[start + 5] - '0') + " end\n");
    for (size_t length : {1023, 1024, 5000}) {
        std::string line = std::string(length - 1, 'x') + "\n";
        testing::internal::CaptureStderr();
        tprintf("%s", line.c_str());
        EXPECT_EQ(testing::internal::GetCapturedStderr(), line);
    }
}
