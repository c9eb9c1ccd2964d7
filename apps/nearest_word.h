/// Which known word a mistyped one most likely stands for.
#ifndef APPS_NEAREST_WORD_H
#define APPS_NEAREST_WORD_H

#include <algorithm>
#include <string>
#include <vector>

/// The fewest characters to insert, leave out, replace, or exchange with the next one, that make one
/// word of the other.
inline size_t editDistance(const std::string &a, const std::string &b)
{
    std::vector<std::vector<size_t>> cost(a.size() + 1, std::vector<size_t>(b.size() + 1));
    for (size_t i = 0; i <= a.size(); ++i) {
        for (size_t j = 0; j <= b.size(); ++j) {
            cost[i][j] = i + j;
            if (i > 0 && j > 0)
                cost[i][j] = std::min({cost[i - 1][j] + 1, cost[i][j - 1] + 1,
                                       cost[i - 1][j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1)});
            if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1])
                cost[i][j] = std::min(cost[i][j], cost[i - 2][j - 2] + 1);
        }
    }
    return cost[a.size()][b.size()];
}

/// The nearest of some words; words that begin with what was typed count as one character away.
/// @return empty when more than a third of the characters would have to change
inline std::string nearestWord(const std::string &typed, const std::vector<std::string> &words)
{
    std::string nearest;
    size_t least = typed.size() / 3 + 1;
    for (const std::string &word : words) {
        const bool isBeginning = word.compare(0, typed.size(), typed) == 0;
        const size_t distance = isBeginning ? 1 : editDistance(typed, word);
        if (distance < least) {
            nearest = word;
            least = distance;
        }
    }
    return nearest;
}

#endif
