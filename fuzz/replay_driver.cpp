// SPDX-License-Identifier: MIT
// Runs a target over its kept corpus and over mutations of it that are the same in each run: what
// every test run can afford, with any compiler.
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <vector>

#include "fuzz/fuzz_target.h"

namespace {

using Input = std::vector<uint8_t>;

constexpr unsigned kSeed = 20260131;
constexpr int kMutationsOfEach = 2000;

std::vector<Input> read_corpus(const char *folder) {
    std::vector<Input> corpus;
    for (const auto &entry : std::filesystem::directory_iterator(folder)) {
        std::ifstream file(entry.path(), std::ios::binary);
        corpus.emplace_back(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
    }
    return corpus;
}

// A byte changed, taken out or doubled; now and then the end cut off.
void mutate(Input &input, std::mt19937 &random) {
    if (input.empty()) {
        return;
    }
    const size_t at = random() % input.size();
    const auto place = input.begin() + static_cast<std::ptrdiff_t>(at);
    switch (random() % 5) {
        case 0:
            *place = static_cast<uint8_t>(random());
            break;
        case 1:
            *place = static_cast<uint8_t>("0123456789abcdef,RPSEQ"[random() % 22]);
            break;
        case 2:
            input.erase(place);
            break;
        case 3:
            input.insert(place, *place);
            break;
        default:
            input.resize(at);
    }
}

}  // namespace

int main(int argc, char **argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s CORPUS_FOLDER\n", argv[0]);
        return 2;
    }
    const std::vector<Input> corpus = read_corpus(argv[1]);
    if (corpus.empty()) {
        std::fprintf(stderr, "%s: no inputs\n", argv[1]);
        return 1;
    }
    std::mt19937 random(kSeed);
    for (const Input &input : corpus) {
        diag::fuzz::run_one(input);
        for (int i = 0; i < kMutationsOfEach; i++) {
            Input mutated = input;
            for (unsigned changes = 1 + random() % 4; changes > 0; changes--) {
                mutate(mutated, random);
            }
            diag::fuzz::run_one(mutated);
        }
    }
    std::fprintf(stderr, "%zu inputs, %d mutations of each\n", corpus.size(), kMutationsOfEach);
    return 0;
}
