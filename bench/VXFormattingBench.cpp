// The two formatting helpers that run for every visible row on every tick: the duration text of
// the organizer list and the order of names. Each is measured beside the plain Qt way of doing
// the same thing, in the same run, so that results read as ratios.

#include "VXSorting.h"
#include "VXStringExtensions.h"

#include <QCollator>
#include <QString>
#include <QStringList>

#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdint>
#include <vector>

using namespace Qt::StringLiterals;

namespace {

// Durations of several magnitudes: zero, seconds, under an hour, hours, and days.
const double kIntervals[] = {0.0, 5.0, 3599.0, 86399.0, 129600.0};

// The same texts written with QString::arg, as one would without the hand-made digits.
QString naiveDuration(double interval, bool eatZero, bool days)
{
    const auto s = static_cast<std::uint64_t>(std::fabs(interval));
    if (s >= 86400 && days) {
        const QString number = QString::number(double(s) / 86400.0, 'f', 1);
        return number == u"1.0"_s ? u"1 day"_s : u"%1 days"_s.arg(number);
    }
    if (s == 0)
        return eatZero ? QString() : u"-"_s;
    if (s < 3600)
        return u"%1:%2"_s.arg(s / 60).arg(s % 60, 2, 10, QLatin1Char('0'));
    return u"%1:%2:%3"_s.arg(s / 3600)
        .arg((s % 3600) / 60, 2, 10, QLatin1Char('0'))
        .arg(s % 60, 2, 10, QLatin1Char('0'));
}

void BM_StringWithTimeInterval(benchmark::State &state)
{
    const double interval = kIntervals[state.range(0)];
    for (auto _ : state)
        benchmark::DoNotOptimize(stringWithTimeInterval(interval, false, true));
    state.SetLabel(stringWithTimeInterval(interval, false, true).toStdString());
}
BENCHMARK(BM_StringWithTimeInterval)->DenseRange(0, 4);

void BM_NaiveDuration(benchmark::State &state)
{
    const double interval = kIntervals[state.range(0)];
    for (auto _ : state)
        benchmark::DoNotOptimize(naiveDuration(interval, false, true));
    state.SetLabel(naiveDuration(interval, false, true).toStdString());
}
BENCHMARK(BM_NaiveDuration)->DenseRange(0, 4);

// Pairs as the organizer meets them: window titles with long common prefixes, digit runs,
// case differences and non-ASCII names.
const std::vector<std::pair<QString, QString>> &namePairs()
{
    static const std::vector<std::pair<QString, QString>> pairs = {
        {u"Inbox (3) - joe@example.com - Mail"_s, u"Inbox (12) - joe@example.com - Mail"_s},
        {u"2024-03-07 Weekly report.odt - LibreOffice Writer"_s,
         u"2024-03-14 Weekly report.odt - LibreOffice Writer"_s},
        {u"main.cpp - wendle - Visual Studio Code"_s, u"Main.cpp - wendle - Visual Studio Code"_s},
        {u"Item 9"_s, u"Item 10"_s},
        {u"Firefox"_s, u"Files"_s},
        {u"\u00c4rger mit dem Drucker \u2014 Thunderbird"_s, u"\u00e4rger mit dem Drucker \u2014 Thunderbird"_s},
        {u"\u041f\u0440\u043e\u0435\u043a\u0442 (\u0447\u0435\u0440\u043d\u043e\u0432\u0438\u043a)"_s,
         u"\u043f\u0440\u043e\u0435\u043a\u0442 \u2116 2"_s},
        {u"Terminal"_s, u""_s},
    };
    return pairs;
}

void BM_VXSortStrings(benchmark::State &state)
{
    const auto &pairs = namePairs();
    for (auto _ : state) {
        for (const auto &[a, b] : pairs)
            benchmark::DoNotOptimize(VXSortStrings(a, b));
    }
    state.SetItemsProcessed(state.iterations() * std::int64_t(pairs.size()));
}
BENCHMARK(BM_VXSortStrings);

void BM_CompareCaseInsensitive(benchmark::State &state)
{
    const auto &pairs = namePairs();
    for (auto _ : state) {
        for (const auto &[a, b] : pairs)
            benchmark::DoNotOptimize(a.compare(b, Qt::CaseInsensitive));
    }
    state.SetItemsProcessed(state.iterations() * std::int64_t(pairs.size()));
}
BENCHMARK(BM_CompareCaseInsensitive);

// What a locale-aware numeric order costs (not used: it differs between locales and machines).
void BM_QCollatorNumeric(benchmark::State &state)
{
    QCollator collator {QLocale(QLocale::English, QLocale::UnitedStates)};
    collator.setCaseSensitivity(Qt::CaseInsensitive);
    collator.setNumericMode(true);
    const auto &pairs = namePairs();
    for (auto _ : state) {
        for (const auto &[a, b] : pairs)
            benchmark::DoNotOptimize(collator.compare(a, b));
    }
    state.SetItemsProcessed(state.iterations() * std::int64_t(pairs.size()));
}
BENCHMARK(BM_QCollatorNumeric);

// A whole list of 500 names sorted, as a list rebuild does.
QStringList manyNames()
{
    QStringList names;
    const auto &pairs = namePairs();
    for (int i = 0; i < 500; ++i) {
        const auto &pair = pairs[std::size_t(i) % pairs.size()];
        names << ((i % 2) ? pair.first : pair.second) + u" "_s + QString::number((i * 7919) % 997);
    }
    return names;
}

void BM_SortListVXSortStrings(benchmark::State &state)
{
    const QStringList names = manyNames();
    for (auto _ : state) {
        QStringList copy = names;
        std::sort(copy.begin(), copy.end(), VXStringOrder());
        benchmark::DoNotOptimize(copy.data());
    }
}
BENCHMARK(BM_SortListVXSortStrings);

void BM_SortListCaseInsensitive(benchmark::State &state)
{
    const QStringList names = manyNames();
    for (auto _ : state) {
        QStringList copy = names;
        std::sort(copy.begin(), copy.end(),
                  [](const QString &a, const QString &b) { return a.compare(b, Qt::CaseInsensitive) < 0; });
        benchmark::DoNotOptimize(copy.data());
    }
}
BENCHMARK(BM_SortListCaseInsensitive);

}   // namespace

BENCHMARK_MAIN();
