#pragma once

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

/// Runs cases in rounds and prints one JSON line a case: the median with its spread, (slowest - fastest) / median.
///
/// The environment variable BENCH_ONLY picks cases: a substring of the name, or "=NAME" for exactly one.
namespace Bench {

inline bool isWanted(const char* name) {
    const char* only = std::getenv("BENCH_ONLY");
    if (!only || !*only)
        return true;
    return *only == '=' ? std::strcmp(name, only + 1) == 0 : std::strstr(name, only) != nullptr;
}

using Clock = std::chrono::steady_clock;

inline double secondsSince(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

/// Says what went wrong where a figure would mean nothing, and ends the program.
[[noreturn]] inline void fail(const char* what) {
    std::printf("{\"error\": \"%s\"}\n", what);
    std::exit(1);
}

inline void check(bool isRight, const char* what) {
    if (!isRight)
        fail(what);
}

/// Keeps the compiler from dropping a result that is only measured.
template <typename T>
inline void keep(const T& value) {
    asm volatile("" : : "g"(&value) : "memory");
}

struct Result {
    double median = 0;
    double spread = 0;
};

inline Result summarise(std::vector<double> samples) {
    std::sort(samples.begin(), samples.end());
    const double median = samples[samples.size() / 2];
    return {median, (samples.back() - samples.front()) / median};
}

/// Operations a second of @p operation in one round of at least @p roundSeconds.
template <typename Operation>
double roundRate(Operation& operation, double roundSeconds) {
    long long count = 0;
    long long batch = 1;
    const auto start = Clock::now();
    double elapsed = 0;
    while (elapsed < roundSeconds) {
        for (long long i = 0; i < batch; ++i)
            operation();
        count += batch;
        batch = std::min<long long>(batch * 2, 1 << 16);
        elapsed = secondsSince(start);
    }
    return static_cast<double>(count) / elapsed;
}

inline double printRate(const char* name, std::vector<double> samples) {
    const Result result = summarise(std::move(samples));
    std::printf("{\"case\": \"%s\", \"ops_per_s\": %.1f, \"spread\": %.3f}\n", name, result.median, result.spread);
    std::fflush(stdout);
    return result.median;
}

/// The median of @p rounds rounds; 0 when not wanted.
template <typename Operation>
double rate(const char* name, Operation operation, int rounds = 7, double roundSeconds = 0.15) {
    if (!isWanted(name))
        return 0;
    std::vector<double> samples;
    operation();
    for (int round = 0; round < rounds; ++round)
        samples.push_back(roundRate(operation, roundSeconds));
    return printRate(name, std::move(samples));
}

/// Prints both rates and how many times as fast @p ours is as @p theirs. Short rounds of the two alternate and the
/// ratio is the median of theirs, so that drift and neighbours hit both alike. Without one of the two there is no
/// ratio.
template <typename Ours, typename Theirs>
void compare(const std::string& oursName, Ours ours, const std::string& theirsName, Theirs theirs,
    const std::string& ratioName, int rounds = 31, double roundSeconds = 0.05) {
    const bool wantsOurs = isWanted(oursName.c_str());
    const bool wantsTheirs = isWanted(theirsName.c_str());
    std::vector<double> oursRates;
    std::vector<double> theirsRates;
    std::vector<double> ratios;
    for (int round = 0; round < rounds; ++round) {
        if (wantsOurs)
            oursRates.push_back(roundRate(ours, roundSeconds));
        if (wantsTheirs)
            theirsRates.push_back(roundRate(theirs, roundSeconds));
        if (wantsOurs && wantsTheirs)
            ratios.push_back(oursRates.back() / theirsRates.back());
    }
    if (wantsOurs)
        printRate(oursName.c_str(), std::move(oursRates));
    if (wantsTheirs)
        printRate(theirsName.c_str(), std::move(theirsRates));
    if (ratios.empty())
        return;
    const Result result = summarise(std::move(ratios));
    std::printf(
        "{\"case\": \"%s\", \"ratio\": %.2f, \"spread\": %.3f}\n", ratioName.c_str(), result.median, result.spread);
    std::fflush(stdout);
}

/// Prints how many times as fast @p ours is as @p theirs, when both were measured.
inline void ratio(const char* name, double ours, double theirs) {
    if (ours > 0 && theirs > 0)
        std::printf("{\"case\": \"%s\", \"ratio\": %.2f}\n", name, ours / theirs);
    std::fflush(stdout);
}

} // namespace Bench
