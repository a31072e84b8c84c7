// Whether vekFilterStrlist() compiles each pattern once in effect: its time beside that of a loop that compiles
// each pattern once, and of one that compiles each pattern for each string. All three copy what matches.

#include "common/expressions/vek_regexp.h"
#include "common/text/owned_strlist.h"

#include <array>
#include <benchmark/benchmark.h>
#include <cstdlib>
#include <memory>
#include <string>

namespace {

constexpr int kStrings = 100'000;

using Strlist = vek::OwnedStrlist;

struct FreeExpression {
    void operator()(vek_regexp *expression) const { std::free(expression); }
};
using Expression = std::unique_ptr<vek_regexp, FreeExpression>;

/// A list that strings are added to.
class Collector {
  public:
    void add(const char *string) {
        list_.reset(vekFastAddToStrlist(list_.release(), string, &count_, &size_));
    }
    [[nodiscard]] char **list() const { return list_.get(); }
    [[nodiscard]] int count() const { return count_; }

  private:
    Strlist list_;
    int count_ = 0;
    int size_ = 0;
};

/// Paths of a design tree; one in ten matches no pattern below.
const Collector &strings() {
    static const Collector all = [] {
        constexpr std::array kViews = {"plan",  "outline", "mask",    "scheme", "symbol",
                                       "table", "extract", "netlist", "config", "notes"};
        Collector list;
        for (std::size_t i = 0; i < kStrings; ++i) {
            list.add(("lib/cell" + std::to_string(i) + "/" + kViews[i % kViews.size()]).c_str());
        }
        return list;
    }();
    return all;
}

constexpr std::array kPatternTexts = {"^lib/cell[0-9]*/(plan|outline|mask|table)$", "/s[a-z]+$",
                                      "cell[0-9]+/(net.*|ext.*|conf?ig)$"};

const Collector &patterns() {
    static const Collector all = [] {
        Collector list;
        for (const char *pattern : kPatternTexts) {
            list.add(pattern);
        }
        return list;
    }();
    return all;
}

/// The filter's own work, with `matches(pattern index, string)` for its comparison.
template <typename Matches>
int filterByHand(Matches matches) {
    Collector found;
    for (char **string = strings().list(); *string != nullptr; ++string) {
        for (std::size_t i = 0; i < kPatternTexts.size(); ++i) {
            if (matches(i, *string)) {
                found.add(*string);
                break;
            }
        }
    }
    return found.count();
}

void finish(benchmark::State &state, int found) {
    if (found != kStrings - kStrings / 10) {
        state.SkipWithError("the patterns did not find what they should");
    }
    state.SetItemsProcessed(state.iterations() * kStrings);
}

void Filter(benchmark::State &state) {
    int found = 0;
    for ([[maybe_unused]] auto round : state) {
        const Strlist result(vekFilterStrlist(strings().list(), patterns().list()));
        found = vekGetStrlistSize(result.get());
    }
    finish(state, found);
}

void CompiledOnce(benchmark::State &state) {
    int found = 0;
    for ([[maybe_unused]] auto round : state) {
        std::array<Expression, kPatternTexts.size()> expressions;
        for (std::size_t i = 0; i < expressions.size(); ++i) {
            expressions[i].reset(vek_regcomp(kPatternTexts[i]));
        }
        found = filterByHand([&](std::size_t i, const char *string) {
            return vek_regexec(expressions[i].get(), string) == 1;
        });
    }
    finish(state, found);
}

void CompiledForEachString(benchmark::State &state) {
    int found = 0;
    for ([[maybe_unused]] auto round : state) {
        found = filterByHand([](std::size_t i, const char *string) {
            const Expression expression(vek_regcomp(kPatternTexts[i]));
            return vek_regexec(expression.get(), string) == 1;
        });
    }
    finish(state, found);
}

BENCHMARK(Filter)->Unit(benchmark::kMillisecond);
BENCHMARK(CompiledOnce)->Unit(benchmark::kMillisecond);
BENCHMARK(CompiledForEachString)->Unit(benchmark::kMillisecond);

} // namespace
