/// @file
/// The lines of read requests that are repeated.
#ifndef DRIVERS_KV_L20V_HOST_LINK_KV_L20V_REQUEST_LINES_H
#define DRIVERS_KV_L20V_HOST_LINK_KV_L20V_REQUEST_LINES_H

#include <QtCore/QString>

/// A panel reads the same devices in every cycle. To take an address apart, to find its device and
/// to write the line costs nearly as much as all the rest of a small request, so the latest lines
/// are kept, in a few fixed places without allocation. Two requests that share a place drive each
/// other out, which costs them time and nothing else: a line is found by its whole address.
class KV_L20V_RequestLines
{
public:
    struct Line {
        char text[32];
        int length;
    };

    KV_L20V_RequestLines();

    /// @return the line kept for the read of a number of words from an address; null when none is
    const Line *find(const QString &address, unsigned int words) const;

    /// Keeps a copy of a line; one that is too long, or whose address is, is not kept.
    void keep(const QString &address, unsigned int words, const char *text, int length);

private:
    enum { PLACE_BITS = 6, PLACES = 1 << PLACE_BITS, MAX_ADDRESS_LENGTH = 8 };

    // What a line was asked for. The first and the last four characters, which overlap in short
    // addresses, are all of one that is kept.
    struct Key {
        Key(const QString &address, unsigned int count);

        quint64 first;
        quint64 last;
        int length;
        unsigned int words;
    };

    struct Place {
        Place();

        Key key;
        Line line;
    };

    static int placeOf(const Key &key);

    Place m_places[PLACES];
};

#endif
