#include "eval/piecesquaretables.h"

#include <cmath>
#include <iostream>

namespace {

// Source tables from white's side, rank 1 first, files a-d; files h-e mirror them.
using Half = float[8][4];

const Half pawn_mg = {{0, 0, 0, 0},
                      {0, 0, 0, -1.3915f},
                      {0, 0, 0, 0},
                      {1, 0, 15.3069f, 18.09f},
                      {2, 1.3915f, 4.1746f, 6.9577f},
                      {4, -1.3915f, 1.3915f, 1.3915f},
                      {0, 0, 0, 0},
                      {0, 0, 0, 0}};
const Half pawn_eg = {{0, 0, 0, 0},
                      {-27.77f, -27.77f, -27.77f, -27.77f},
                      {-16.662f, -16.662f, -16.662f, -16.662f},
                      {-5.554f, -5.554f, -5.554f, -5.554f},
                      {5.554f, 5.554f, 5.554f, 5.554f},
                      {16.662f, 16.662f, 16.662f, 16.662f},
                      {27.77f, 27.77f, 27.77f, 27.77f},
                      {0, 0, 0, 0}};
const Half knight_mg = {{-13.5461f, -11.2156f, -8.885f, -6.5545f}, {-11.2156f, -8.885f, -0.7283f, 1.6022f},
                        {-7.7198f, 1.6022f, 9.759f, 8.5937f},      {-4.224f, 5.098f, 10.9242f, 9.759f},
                        {-4.224f, 5.098f, 10.9242f, 9.759f},       {-5.3893f, 3.9327f, 14.42f, 13.2547f},
                        {-7.7198f, -4.224f, 6.2632f, 8.5937f},     {-11.2156f, -7.7198f, -4.224f, -1.8935f}};
const Half knight_eg = {{-0.0658f, -0.0544f, -0.0431f, -0.0318f}, {-0.0544f, -0.0431f, -0.0035f, 0.0078f},
                        {-0.0375f, 0.0078f, 0.0474f, 0.0417f},    {-0.0205f, 0.0247f, 0.053f, 0.0474f},
                        {-0.0205f, 0.0247f, 0.053f, 0.0474f},     {-0.0262f, 0.0191f, 0.07f, 0.0643f},
                        {-0.0375f, -0.0205f, 0.0304f, 0.0417f},   {-0.0544f, -0.0375f, -0.0205f, -0.0092f}};
const Half bishop_mg = {{0.9859f, -0.7129f, -2.1689f, -2.6543f}, {-0.4702f, 1.2286f, -0.2275f, -1.1982f},
                        {-1.6836f, 0.0152f, 2.1993f, 1.2286f},   {-1.9263f, -0.7129f, 1.4712f, 3.17f},
                        {-2.1689f, -0.9556f, 1.2286f, 2.9273f},  {-1.9263f, 0.2578f, 2.442f, 1.4712f},
                        {-0.7129f, 1.4712f, 0.5005f, -0.4702f},  {0.7432f, -0.4702f, -1.4409f, -1.4409f}};
const Half bishop_eg = {{1.7541f, -1.2683f, -3.8589f, -4.7225f}, {-0.8366f, 2.1858f, -0.4048f, -2.1319f},
                        {-2.9954f, 0.027f, 3.9129f, 2.1858f},    {-3.4272f, -1.2683f, 2.6176f, 5.64f},
                        {-3.8589f, -1.7001f, 2.1858f, 5.2082f},  {-3.4272f, 0.4588f, 4.3447f, 2.6176f},
                        {-1.2683f, 2.6176f, 0.8905f, -0.8366f},  {1.3223f, -0.8366f, -2.5636f, -2.5636f}};
const Half rook_mg = {{-32.69f, -21.7171f, -14.4019f, 0.2286f}, {-21.7171f, -14.4019f, -7.0866f, 7.5438f},
                      {-14.4019f, -7.0866f, -3.429f, 11.2015f}, {0.2286f, 7.5438f, 11.2015f, 11.2015f},
                      {11.2015f, 18.5167f, 22.1743f, 22.1743f}, {-3.429f, 3.8862f, 7.5438f, 22.1743f},
                      {-10.7443f, -3.429f, 3.8862f, 18.5167f},  {-21.7171f, -10.7443f, -3.429f, 11.2015f}};
const Half rook_eg = {{-12.34f, -8.1979f, -5.4365f, 0.0863f},  {-8.1979f, -5.4365f, -2.6751f, 2.8477f},
                      {-5.4365f, -2.6751f, -1.2944f, 4.2284f}, {0.0863f, 2.8477f, 4.2284f, 4.2284f},
                      {4.2284f, 6.9898f, 8.3705f, 8.3705f},    {-1.2944f, 1.467f, 2.8477f, 8.3705f},
                      {-4.0558f, -1.2944f, 1.467f, 6.9898f},   {-8.1979f, -4.0558f, -1.2944f, 4.2284f}};
const Half queen_mg = {{-14.9789f, -16.0633f, -18.2322f, -11.7256f},
                       {-14.9789f, -3.05f, -5.2189f, -0.8811f},
                       {-16.0633f, -4.1344f, 7.7944f, 12.1322f},
                       {-8.4722f, 1.2878f, 13.2167f, 20.8078f},
                       {-3.05f, 6.71f, 18.6389f, 26.23f},
                       {-10.6411f, 3.4567f, 15.3856f, 19.7233f},
                       {-9.5567f, 4.5411f, 4.5411f, 8.8789f},
                       {-9.5567f, -8.4722f, -8.4722f, 0.2033f}};
const Half queen_eg = {
    {-19.5474f, -20.9626f, -23.7929f, -15.3018f}, {-19.5474f, -3.9802f, -6.8106f, -1.1498f},
    {-20.9626f, -5.3954f, 10.1717f, 15.8325f},    {-11.0562f, 1.6805f, 17.2477f, 27.154f},
    {-3.9802f, 8.7565f, 24.3236f, 34.23f},        {-13.8866f, 4.5109f, 20.0781f, 25.7388f},
    {-12.4714f, 5.9261f, 5.9261f, 11.5869f},      {-12.4714f, -11.0562f, -11.0562f, 0.2653f}};
const Half king_mg = {{5.4f, 5.4f, 5.4f, 5.4f},
                      {3.8571f, 3.8571f, 3.8571f, 3.8571f},
                      {2.3143f, 2.3143f, 2.3143f, 2.3143f},
                      {0.7714f, 0.7714f, 0.7714f, 0.7714f},
                      {-0.7714f, -0.7714f, -0.7714f, -0.7714f},
                      {-2.3143f, -2.3143f, -2.3143f, -2.3143f},
                      {-3.8571f, -3.8571f, -3.8571f, -3.8571f},
                      {-5.4f, -5.4f, -5.4f, -5.4f}};
const Half king_eg = {{-12.6304f, -9.9888f, -9.1082f, -9.1082f}, {-9.9888f, -5.586f, -2.9443f, -2.0638f},
                      {-9.1082f, -2.9443f, 4.1001f, 9.3834f},    {-7.3471f, 0.5779f, 12.025f, 18.1889f},
                      {-6.4666f, 2.339f, 13.7861f, 19.95f},      {-4.7054f, 4.1001f, 11.1445f, 16.4278f},
                      {-5.586f, 1.4584f, 4.1001f, 4.9806f},      {-9.9888f, -5.586f, -4.7054f, -4.7054f}};

const Half *const source_mg[7] = {nullptr, &pawn_mg, &knight_mg, &bishop_mg, &rook_mg, &queen_mg, &king_mg};
const Half *const source_eg[7] = {nullptr, &pawn_eg, &knight_eg, &bishop_eg, &rook_eg, &queen_eg, &king_eg};

float entry(const Half &t, int square) {
    const int file = square & 7;
    return t[square >> 3][file < 4 ? file : 7 - file];
}

} // namespace

PieceSquareTables::PieceSquareTables() : m_mg{}, m_eg{}, m_score{}, m_position(nullptr) {
    for (int kind = wpawn; kind <= wking; ++kind) {
        for (int s = 0; s < 64; ++s) {
            m_mg[kind][s] = entry(*source_mg[kind], s);
            m_eg[kind][s] = entry(*source_eg[kind], s);
            m_mg[kind + 8][s] = -entry(*source_mg[kind], s ^ 56);
            m_eg[kind + 8][s] = -entry(*source_eg[kind], s ^ 56);
        }
    }
}

// The sums are formed in double precision, where adding a handful of these floats is exact, and rounded
// once: a fresh score then does not depend on the order of the squares, so a position and its colour or
// side mirror get exactly opposite or equal sums.
void PieceSquareTables::fresh_scores(const ChessPosition &pos, Score (&out)[15]) const {
    double mg[15] = {}, eg[15] = {};
    for (int s = 0; s < 64; ++s) {
        const int piece = pos.get_piece_id_from(Square(s));
        mg[piece] += m_mg[piece][s];
        eg[piece] += m_eg[piece][s];
    }
    for (int p = 0; p < 15; ++p)
        out[p] = Score(static_cast<float>(mg[p]), static_cast<float>(eg[p]));
}

void PieceSquareTables::init(const ChessPosition &pos) {
    m_position = &pos;
    fresh_scores(pos, m_score);
}

PieceSquareTables::Score PieceSquareTables::get_score() const {
    Score sum(0.0f, 0.0f);
    for (const Score &s : m_score) {
        sum.first += s.first;
        sum.second += s.second;
    }
    return sum;
}

void PieceSquareTables::update(const Move &m, float sign) {
    const int from = m.from_id(), to = m.to_id(), piece = m.piece_id(), capture = m.capture_id();
    switch (m.code()) {
    case nullmove:
        return;
    case normal_move:
        add(piece, from, -sign);
        add(piece, to, sign);
        if (capture) add(capture, to, -sign);
        return;
    case promo_queen:
    case promo_rook:
    case promo_bishop:
    case promo_knight:
        add(piece, from, -sign);
        if (capture) add(capture, to, -sign);
        add((7 - m.code()) | (piece & 8), to, sign); // queen 2 .. knight 5 -> kind 5 .. 2
        return;
    case castling: {
        const int rook = piece - 2;
        add(piece, from, -sign);
        add(rook, to, -sign);
        add(piece, BoardPosition::castle_king_to(from, to), sign);
        add(rook, BoardPosition::castle_rook_to(from, to), sign);
        return;
    }
    case en_passant:
        add(piece, from, -sign);
        add(piece, to, sign);
        add(piece ^ 8, (piece & 8) ? to + 8 : to - 8, -sign);
        return;
    }
}

bool PieceSquareTables::verify_score() const {
    if (!m_position) return true;
    Score fresh[15];
    fresh_scores(*m_position, fresh);
    for (int p = 0; p < 15; ++p) {
        if (std::fabs(fresh[p].first - m_score[p].first) > 0.01f) {
            std::cerr << "verify correct score[" << p << "].first " << fresh[p].first
                      << " != incremental score[" << p << "].first " << m_score[p].first << "\n";
            return false;
        }
        if (std::fabs(fresh[p].second - m_score[p].second) > 0.01f) {
            std::cerr << "verify correct score[" << p << "].second " << fresh[p].second
                      << " != incremental score[" << p << "].second " << m_score[p].second << "\n";
            return false;
        }
    }
    return true;
}
