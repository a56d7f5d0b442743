// Altered pixels, rather than altered files: what the search makes of almost-symbols.

#include <gtest/gtest.h>

#include <cstdio>
#include <memory>
#include <random>
#include <vector>

#include "reader_program.h"
#include "test_images.h"
#include "velmoralight_standin/reader/sandbox.h"

TEST(AlteredPictures, AreAnsweredByTheReaderOrByTheNextOne) {
    const std::vector<GreyImage> originals = picturesWithSeveralSymbols();
    constexpr int kPictures = standin::kIsConfined ? 10'000 : 1'000;
    std::minstd_rand random(1);
    auto reader = std::make_unique<ReaderProgram>();
    int answered = 0;
    int died = 0;
    for (int i = 0; i < kPictures; ++i) {
        const GreyImage& original = originals[static_cast<size_t>(i) % originals.size()];
        const auto answer = reader->ask(encodePng(altered(original, random)));
        if (answer && answer->code == 0) {
            ++answered;
        } else {
            EXPECT_FALSE(answer) << answer->text;
            ++died;
            reader = std::make_unique<ReaderProgram>();
        }
    }
    EXPECT_EQ(answered + died, kPictures);
    EXPECT_LE(died, kPictures / 100);
    std::printf("%d answered, %d readers died\n", answered, died);
}
