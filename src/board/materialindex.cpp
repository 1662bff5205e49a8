#include "board/materialindex.h"

int MaterialIndex::value() const {
    static const int T1[9] = {-20, -15, -10, -5, 0, 0, 5, 10, 15};
    static const int T2[9] = {0, 0, 0, 0, 0, -5, -10, -20, -30};
    const int P = get_whitepawn(), N = get_whiteknight(), B = get_whitebishop(), R = get_whiterook(),
              Q = get_whitequeen();
    const int p = get_blackpawn(), n = get_blackknight(), b = get_blackbishop(), r = get_blackrook(),
              q = get_blackqueen();
    const int minorW = B + N, majorW = Q + R, piecesW = minorW + majorW;
    const int minorB = b + n, majorB = q + r, piecesB = minorB + majorB;
    auto t = [](const int *tab, int c) { return tab[c > 8 ? 8 : c]; };

    int s = t(T1, P) + t(T2, P) - t(T1, p) - t(T2, p);
    if (Q == q) {
        if (R >= 2) s -= 25;
        if (r >= 2) s += 25;
        if (R != r && piecesW == piecesB) {
            // A rook traded for a minor piece: the side with the extra rook loses a little per major.
            if (r < R)
                s = static_cast<int>(s - 25.0 * (majorW - 1));
            else
                s = static_cast<int>(s + 25.0 * (majorB - 1));
        }
    }
    if (B == 2) s += 50;
    if (b == 2) s -= 50;
    s += 100 * (P - p) + 525 * (R - r) + 1000 * (Q - q);
    s += minorW * (piecesW < 2 ? 250 : 325) - minorB * (piecesB < 2 ? 250 : 325);

    const bool minors = minorW > 0 || minorB > 0;
    if (P == 0 && p == 0) {
        if (s >= -399 && s <= 399) {
            s /= 10;
            if (minors || piecesW != piecesB) return s;
        } else if (minors || piecesW != piecesB) {
            goto trade_down;
        }
        if (Q == 1 && q == 0 && r == 1) return 450;
        if (R == 1 && Q == 0 && q == 1) return -450;
    } else {
        if (piecesW == 0 && p == 0 && minorB == 1 && majorB == 0 && P < 3) return 50;
        if (P == 1 && minorW == 1 && majorW == 0 && p == 0 && piecesB == 1 && r == 1) return 50;
        if (piecesB == 0 && P == 0 && minorW == 1 && majorW == 0 && p < 3) return -50;
        if (p == 1 && minorB == 1 && majorB == 0 && P == 0 && piecesW == 1 && R == 1) return -50;
    }
trade_down:
    if (P > 0 && s > 70) return s + 10 * P - 10 * piecesB;
    if (p > 0 && s < -70) return s - 10 * p + 10 * piecesW;
    return s;
}

std::string MaterialIndex::str() const {
    std::string s = "K";
    s.append(get_whitequeen(), 'Q').append(get_whiterook(), 'R').append(get_whitebishop(), 'B');
    s.append(get_whiteknight(), 'N').append(get_whitepawn(), 'P');
    s += 'k';
    s.append(get_blackqueen(), 'q').append(get_blackrook(), 'r').append(get_blackbishop(), 'b');
    s.append(get_blackknight(), 'n').append(get_blackpawn(), 'p');
    return s;
}
