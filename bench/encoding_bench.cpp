// Code-page maps beside plain ICU. Figures to read as ratios within one run:
//   BM_GetCPMapBuild        first GetCPMap of a page (the build)
//   BM_BuildListedPages     first GetCPMap of all 68 listed pages, converters
//                           closed before, as in a freshly loaded library
//   BM_GetCPMapLookup       a later GetCPMap (a lookup)
//   BM_CPConvertPage/N      CPConvert on page N: valid pairs of a double-byte
//                           page, pairs (which fall back) of a single-byte one
//   BM_CPConvert            CPConvert on valid pairs of page 936
//   BM_IcuKeptConverter     ucnv_toUChars per pair on one kept converter (ceiling)
//   BM_IcuOpenPerPair       ucnv_open, ucnv_toUChars, ucnv_close per pair
#include <benchmark/benchmark.h>
#include <unicode/ucnv.h>

#include <cstdlib>
#include <vector>

#include "base/encoding.h"
#include "encoding/code_page_tables.h"
#include "platform/testing/codepage_testing.h"

namespace {

// Every pair of the GB2312 hanzi rows of page 936: all valid.
std::vector<char> ValidGbkPairs() {
  std::vector<char> bytes;
  for (int lead = 0xB0; lead <= 0xD7; ++lead) {
    for (int trail = 0xA1; trail <= 0xFE; ++trail) {
      bytes.push_back(static_cast<char>(lead));
      bytes.push_back(static_cast<char>(trail));
    }
  }
  return bytes;
}

// Forgets `page` so that the next GetCPMap builds it again.
void ForgetPage(int page) {
  auto& tables = base::CodePageTables;
  std::free(tables.byteMaps[page]);
  tables.byteMaps.erase(page);
  tables.defaultChars.erase(page);
}

void BM_GetCPMapBuild(benchmark::State& state) {
  const int page = static_cast<int>(state.range(0));
  for (auto _ : state) {
    state.PauseTiming();
    ForgetPage(page);
    state.ResumeTiming();
    benchmark::DoNotOptimize(XmlText::Encoding::GetCPMap(page));
  }
}
BENCHMARK(BM_GetCPMapBuild)->Arg(1252)->Arg(936);

void BM_BuildListedPages(benchmark::State& state) {
  for (auto _ : state) {
    state.PauseTiming();
    for (int page : base::platform::testing::kListedCodePages)
      ForgetPage(page);
    base::platform::testing::CloseCodePageConverters();
    state.ResumeTiming();
    for (int page : base::platform::testing::kListedCodePages)
      benchmark::DoNotOptimize(XmlText::Encoding::GetCPMap(page));
  }
}
BENCHMARK(BM_BuildListedPages)->Unit(benchmark::kMillisecond);

// Up to 4,096 pairs of `page` that CPConvert turns into a character; for a
// page without lead bytes, pairs of letters, which it cannot.
std::vector<char> PairsOf(int page) {
  const int* map = XmlText::Encoding::GetCPMap(page);
  const int fallback = XmlText::Encoding::GetCPDefChar(page);
  std::vector<char> bytes;
  for (int lead = 0; map && lead < 256; ++lead) {
    for (int trail = 0; map[lead] == XmlText::Encoding::kLeadByte && trail < 256; ++trail) {
      const char pair[2] = {static_cast<char>(lead), static_cast<char>(trail)};
      if (bytes.size() < 8192 && XmlText::Encoding::CPConvert(page, pair) != fallback)
        bytes.insert(bytes.end(), pair, pair + 2);
    }
  }
  for (char letter = 'A'; bytes.empty() && letter <= 'Z'; ++letter)
    bytes.insert(bytes.end(), {letter, 'a'});
  return bytes;
}

void BM_CPConvertPage(benchmark::State& state) {
  const int page = static_cast<int>(state.range(0));
  const std::vector<char> pairs = PairsOf(page);
  for (auto _ : state) {
    for (std::size_t i = 0; i < pairs.size(); i += 2)
      benchmark::DoNotOptimize(XmlText::Encoding::CPConvert(page, &pairs[i]));
  }
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(pairs.size() / 2));
}
BENCHMARK(BM_CPConvertPage)->MinTime(0.05)->Apply([](benchmark::internal::Benchmark* bench) {
  for (int page : base::platform::testing::kListedCodePages)
    bench->Arg(page);
});

void BM_GetCPMapLookup(benchmark::State& state) {
  XmlText::Encoding::GetCPMap(936);
  for (auto _ : state)
    benchmark::DoNotOptimize(XmlText::Encoding::GetCPMap(936));
}
BENCHMARK(BM_GetCPMapLookup);

void BM_CPConvert(benchmark::State& state) {
  const std::vector<char> pairs = ValidGbkPairs();
  for (auto _ : state) {
    for (std::size_t i = 0; i < pairs.size(); i += 2)
      benchmark::DoNotOptimize(XmlText::Encoding::CPConvert(936, &pairs[i]));
  }
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(pairs.size() / 2));
}
BENCHMARK(BM_CPConvert);

UConverter* OpenStrict() {
  UErrorCode status = U_ZERO_ERROR;
  UConverter* converter = ucnv_open("windows-936", &status);
  ucnv_setToUCallBack(converter, UCNV_TO_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &status);
  return converter;
}

UChar ConvertPair(UConverter* converter, const char* pair) {
  UChar unit = 0;
  UErrorCode status = U_ZERO_ERROR;
  ucnv_toUChars(converter, &unit, 1, pair, 2, &status);
  return unit;
}

void BM_IcuKeptConverter(benchmark::State& state) {
  const std::vector<char> pairs = ValidGbkPairs();
  UConverter* converter = OpenStrict();
  for (auto _ : state) {
    for (std::size_t i = 0; i < pairs.size(); i += 2)
      benchmark::DoNotOptimize(ConvertPair(converter, &pairs[i]));
  }
  ucnv_close(converter);
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(pairs.size() / 2));
}
BENCHMARK(BM_IcuKeptConverter);

void BM_IcuOpenPerPair(benchmark::State& state) {
  const std::vector<char> pairs = ValidGbkPairs();
  for (auto _ : state) {
    for (std::size_t i = 0; i < pairs.size(); i += 2) {
      UConverter* converter = OpenStrict();
      benchmark::DoNotOptimize(ConvertPair(converter, &pairs[i]));
      ucnv_close(converter);
    }
  }
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(pairs.size() / 2));
}
BENCHMARK(BM_IcuOpenPerPair);

}  // namespace

BENCHMARK_MAIN();
