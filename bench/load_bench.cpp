// SPDX-License-Identifier: MIT
// Loading a description, against reading the same file and doing nothing with it: parsed by
// libxml2, or line by line.
#include <benchmark/benchmark.h>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <libxml/parser.h>

#include "device_tree.h"

#include "bench/description_maker.h"
#include "tests/support/free_tree.h"

namespace {

using diag::bench::Form;
using diag::bench::MadeDescription;

constexpr int kChips100k = 1000;
constexpr int kChips1m = 10000;

// Times `work` alone; what it leaves behind is cleaned up off the clock.
template <typename Work>
void timed(benchmark::State &state, Work work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    state.SetIterationTime(
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
}

void load(benchmark::State &state, Form form, int chips) {
    const MadeDescription description(form, chips);
    for ([[maybe_unused]] auto round : state) {
        diag::test::TreeOwner tree;
        xmlDoc *document = nullptr;
        uint8_t has_broker = 0;
        uint32_t status = 0;
        timed(state, [&] {
            status =
                load_device_tree(description.path().c_str(), &tree.head, form == Form::kXml ? 1 : 0,
                                 &document, &has_broker, nullptr, nullptr);
        });
        xmlFreeDoc(document);
        if (status != 0) {
            state.SkipWithError("the description does not load");
        }
    }
}

void xml_read_file_100k(benchmark::State &state) {
    const MadeDescription description(Form::kXml, kChips100k);
    for ([[maybe_unused]] auto round : state) {
        xmlDoc *document = nullptr;
        timed(state, [&] { document = xmlReadFile(description.path().c_str(), nullptr, 0); });
        xmlFreeDoc(document);
    }
}

void text_getline_1m(benchmark::State &state) {
    const MadeDescription description(Form::kText, kChips1m);
    for ([[maybe_unused]] auto round : state) {
        timed(state, [&] {
            std::FILE *file = std::fopen(description.path().c_str(), "r");
            char *line = nullptr;
            size_t room = 0;
            while (getline(&line, &room, file) > 0) {
                benchmark::DoNotOptimize(line);
            }
            std::free(line);
            std::fclose(file);
        });
    }
}

void load_100k(benchmark::State &state) {
    load(state, Form::kXml, kChips100k);
}
void load_1m(benchmark::State &state) {
    load(state, Form::kXml, kChips1m);
}
void text_load_100k(benchmark::State &state) {
    load(state, Form::kText, kChips100k);
}
void text_load_1m(benchmark::State &state) {
    load(state, Form::kText, kChips1m);
}

BENCHMARK(load_100k)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(xml_read_file_100k)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(load_1m)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(1)->Repetitions(3);
BENCHMARK(text_load_100k)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(text_load_1m)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(1);
BENCHMARK(text_getline_1m)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(1);

}  // namespace
