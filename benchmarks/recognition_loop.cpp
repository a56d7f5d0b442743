// How many recognitions a second the machine can do without network and queues: each thread decodes
// and reads the same image again and again, and makes the answer's text.
//
// usage: recognition_loop THREADS SECONDS IMAGE
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include "velmoralight_standin/limits.h"
#include "velmoralight_standin/reader/recognition.h"

int main(int argc, char** argv) {
    if (argc != 4) {
        std::fputs("usage: recognition_loop THREADS SECONDS IMAGE\n", stderr);
        return 2;
    }
    std::ifstream file(argv[3], std::ios::binary);
    const std::vector<unsigned char> image(std::istreambuf_iterator<char>(file), {});
    const standin::Limits limits;
    if (standin::recognize("", image, limits).symbols.empty()) {
        std::fputs("recognition_loop: no symbol in the image\n", stderr);
        return 1;
    }

    using Clock = std::chrono::steady_clock;
    const Clock::time_point start = Clock::now();
    const Clock::time_point end = start + std::chrono::seconds(std::atoi(argv[2]));
    std::atomic<long> done = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < std::atoi(argv[1]); ++i) {
        threads.emplace_back([&] {
            while (Clock::now() < end) {
                const standin::Recognition recognition = standin::recognize("", image, limits);
                done += standin::answerText(recognition).empty() ? 0 : 1;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    std::printf("%.1f\n", static_cast<double>(done) /
                              std::chrono::duration<double>(Clock::now() - start).count());
    return 0;
}
