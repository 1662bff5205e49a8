#include "eval/evaluation.h"

#include <cmath>
#include <iomanip>
#include <sstream>

#include "eval/evalbits.h"
#include "eval/measures.h"

using namespace evalbits;

namespace {

// std::roundf without the library call: rounds half away from zero and keeps the sign of a zero result.
inline float round_half_away(float x) {
    if (!(std::fabs(x) < 8388608.0f)) return std::roundf(x);          // 2^23 and above hold no fraction
    const float t = static_cast<float>(static_cast<std::int32_t>(x)); // towards zero; x - t is exact
    return std::copysign(std::fabs(x - t) >= 0.5f ? t + std::copysign(1.0f, x) : t, x);
}

constexpr u64 minor_home[2] = {0x6600000000000000ULL, 0x66ULL}; // b, c, f, g on the back rank

// The wing an attack on a king is fought on, chosen by the king's file; index 1 is white's king.
inline u64 battlefield(int colour, u64 king) {
    if (!king) return 0;
    const int file = lsb(king) & 7;
    if (colour) {
        return file < 3   ? white_queenside_battlefield.value()
               : file < 5 ? white_centre_battlefield.value()
                          : white_kingside_battlefield.value();
    }
    return file < 3   ? black_queenside_battlefield.value()
           : file < 5 ? black_centre_battlefield.value()
                      : black_kingside_battlefield.value();
}

// Per-colour king-safety measurements, in the order of the variables they feed.
enum ks_t : int {
    ks_shield,
    ks_attack,
    ks_castling,
    ks_storm,
    ks_open_files,
    ks_knight_contact,
    ks_bishop_contact,
    ks_rook_contact,
    ks_queen_contact,
    ks_knight_field,
    ks_bishop_field,
    ks_rook_field,
    ks_queen_field,
    ks_knight_field_attack,
    ks_bishop_field_attack,
    ks_rook_field_attack,
    ks_queen_field_attack,
    ks_size
};

} // namespace

Evaluation::Evaluation(const ChessPosition &pos, const BoardTables &tables)
    : m_position(pos), m_cache(new CachedEval[cache_mask + 1]()), m_mobility(tables.attacks()),
      m_variables(m_weight.mg().size(), 0.0f), m_logging(false), m_evaluations(0), m_mg_factor(1.0f),
      m_eg_factor(0.0f), m_last_score(0.0f) {
    init();
}

void Evaluation::set_log(bool on) {
    m_logging = on;
    if (m_log.is_open()) m_log.close();
    if (on) m_log.open("eval_log.log", std::ios::out | std::ios::trunc);
}

void Evaluation::compute_phase() {
    const float w = static_cast<float>(m_position.nobelmen());
    m_mg_factor = w / 6200.0f;
    m_eg_factor = 1.0f - w / 6200.0f;
}

void Evaluation::compute_material() {
    m_variables[v_material] = static_cast<float>(m_material.get_eval(m_position.materialindex()));
}

void Evaluation::compute_pst() {
    const PieceSquareTables::Score kinds[6] = {m_pst.get_pawn_score(),   m_pst.get_knight_score(),
                                               m_pst.get_bishop_score(), m_pst.get_rook_score(),
                                               m_pst.get_queen_score(),  m_pst.get_king_score()};
    for (int k = 0; k < 6; ++k)
        m_variables[v_pst_pawn + k] = kinds[k].second * m_eg_factor + kinds[k].first * m_mg_factor;
}

void Evaluation::compute_pawn_eval() {
    const ChessPosition &p = m_position;
    const u64 wp = p.pieces(wpawn).value(), bp = p.pieces(bpawn).value();
    const PawnEntry &e = m_pawnhash.probe(p.get_pawnhash(), BitBoard(wp), BitBoard(bp));
    const std::int16_t *w = e.count[1], *b = e.count[0];
    float *var = m_variables.data();
    const Measures &ms = measures();
    m_passed[1] = e.passed[1];
    m_passed[0] = e.passed[0];

    // The counts below are raw: compute() applies each variable's scale from the measures.
    // rookpawn: a pawn on the a- or h-file captures only one way.
    var[v_rookpawn] = static_cast<float>(b[PawnEntry::rookpawns] - w[PawnEntry::rookpawns]);
    // doubled_pawns: pawns behind an own pawn.
    var[v_doubled_pawns] = static_cast<float>(b[PawnEntry::doubled] - w[PawnEntry::doubled]);
    // weak_pawns: backward pawns.
    var[v_weak_pawns] = static_cast<float>(b[PawnEntry::weak] - w[PawnEntry::weak]);
    var[v_isolated_pawns] = static_cast<float>(b[PawnEntry::isolated] - w[PawnEntry::isolated]);
    // blocked_pawns: pawns whose stop square is occupied (rams count for both sides and cancel).
    const u64 all = p.all_pieces().value();
    var[v_blocked_pawns] = static_cast<float>(popcnt(forward<0>(bp) & all) - popcnt(forward<1>(wp) & all));
    // passed_pawns: rank values of the passed pawns, and more when the stop square is empty.
    int free_w = 0, free_b = 0;
    for (u64 s = e.passed[1].value(); s; s &= s - 1) {
        const int sq = lsb(s);
        if (!((all >> (sq + 8)) & 1)) free_w += ms.free_passer_rank[sq >> 3];
    }
    for (u64 s = e.passed[0].value(); s; s &= s - 1) {
        const int sq = lsb(s);
        if (!((all >> (sq - 8)) & 1)) free_b += ms.free_passer_rank[7 - (sq >> 3)];
    }
    var[v_passed_pawns] =
        static_cast<float>((w[PawnEntry::passed_value] - b[PawnEntry::passed_value]) + (free_w - free_b));
    // pawn_islands: groups of adjacent files with own pawns.
    var[v_pawn_islands] = static_cast<float>(b[PawnEntry::islands] - w[PawnEntry::islands]);
    // bad_bishop: own pawns standing on the squares of an own bishop's colour, per bishop.
    const u64 wb = p.pieces(wbishop).value(), bb = p.pieces(bbishop).value();
    const int bad_w = popcnt(wb & white_squares.value()) * w[PawnEntry::light] +
                      popcnt(wb & black_squares.value()) * w[PawnEntry::dark];
    const int bad_b = popcnt(bb & white_squares.value()) * b[PawnEntry::light] +
                      popcnt(bb & black_squares.value()) * b[PawnEntry::dark];
    var[v_bad_bishop] = static_cast<float>(bad_b - bad_w);
}

// development: knights and bishops still on b, c, f or g of their back rank.
void Evaluation::compute_development() {
    const ChessPosition &p = m_position;
    const int w = popcnt((p.pieces(wknight).value() | p.pieces(wbishop).value()) & minor_home[1]);
    const int b = popcnt((p.pieces(bknight).value() | p.pieces(bbishop).value()) & minor_home[0]);
    m_variables[v_development] = static_cast<float>(b - w);
}

// King safety seen from one colour: its own king's cover and the pressure it puts on the enemy king.
template <int colour> void Evaluation::king_safety_of(int *out) const {
    const ChessPosition &p = m_position;
    const int c = colour ? 0 : 8, e = colour ? 8 : 0;
    const u64 king = p.pieces(wking + c).value(), enemy_king = p.pieces(wking + e).value();
    const u64 own_pawns = p.pieces(wpawn + c).value(), all_pawns = own_pawns | p.pieces(wpawn + e).value();
    const Measures &ms = measures();
    for (int i = 0; i < ks_size; ++i)
        out[i] = 0;

    if (king) {
        // pawn_shield: files at the king with an own pawn one rank ahead, or else two ranks ahead, and
        // files beside the king that are off the board.
        const u64 files = king | west_east(king);
        const u64 front1 = forward<colour>(files), front2 = forward<colour>(front1);
        const u64 near = own_pawns & front1;
        const u64 far = own_pawns & front2 & ~forward<colour>(near);
        const int off_board = (king & (a_file | h_file).value()) ? 1 : 0;
        out[ks_shield] =
            ms.shield_near * popcnt(near) + ms.shield_far * popcnt(far) + ms.shield_edge * off_board;
        // open_files_on_king: files at the king without pawns, or without own pawns.
        const int king_file = lsb(king) & 7;
        for (int f = king_file - 1; f <= king_file + 1; ++f) {
            if (f < 0 || f > 7) continue;
            const u64 file = file_mask(f);
            if (!(file & all_pawns))
                out[ks_open_files] += ms.open_file;
            else if (!(file & own_pawns))
                out[ks_open_files] += ms.half_open_file;
        }
    }
    // castling_rights: the remaining rights, at most 2.
    const unsigned rights = colour ? p.castlingrights() & 0xFF : p.castlingrights() >> 8;
    out[ks_castling] = ms.castling_right * ((rights != 0) + ((rights & (rights - 1)) != 0));

    if (!enemy_king) return;
    // king_attack: the danger our pieces put the enemy king in.
    out[ks_attack] = m_mobility.king_danger(colour);
    // pawn_storm: own pawns on the enemy king's files, by how far they have advanced (4th to 7th rank).
    // The four ranks are four bytes of one 32-bit word: count each byte's pawns side by side, then one
    // multiplication sums the bytes with their weights into the top byte (a byte holds at most 3 pawns and
    // a weight stays below 21, so no sum carries into the next).
    const u64 storm = own_pawns & file_fill(enemy_king | west_east(enemy_king));
    std::uint32_t ranks = static_cast<std::uint32_t>(colour ? storm >> 24 : storm >> 8);
    ranks = ranks - ((ranks >> 1) & 0x55555555u);
    ranks = (ranks & 0x33333333u) + ((ranks >> 2) & 0x33333333u);
    ranks = (ranks + (ranks >> 4)) & 0x0F0F0F0Fu;
    const int *step = ms.storm_rank;
    const std::uint32_t weights = colour ? std::uint32_t(step[3]) | std::uint32_t(step[2]) << 8 |
                                               std::uint32_t(step[1]) << 16 | std::uint32_t(step[0]) << 24
                                         : std::uint32_t(step[0]) | std::uint32_t(step[1]) << 8 |
                                               std::uint32_t(step[2]) << 16 | std::uint32_t(step[3]) << 24;
    out[ks_storm] = static_cast<int>((ranks * weights) >> 24);
    // Contacts: squares next to the enemy king that the kind attacks (weights near zero except the queen).
    const u64 ring = m_mobility.attacked(1 - colour, wking);
    out[ks_knight_contact] = popcnt(ring & m_mobility.attacked(colour, wknight));
    out[ks_bishop_contact] = popcnt(ring & m_mobility.attacked(colour, wbishop));
    out[ks_rook_contact] = popcnt(ring & m_mobility.attacked(colour, wrook));
    // queen_king_contact: a queen can land next to the king on a square that another own piece guards and
    // no enemy piece but the king defends: nearly mate with the move (2), a strong threat without (1).
    const u64 own = colour ? p.white_pieces().value() : p.black_pieces().value();
    const u64 support = m_mobility.attacked(colour, wpawn) | m_mobility.attacked(colour, wknight) |
                        m_mobility.attacked(colour, wbishop) | m_mobility.attacked(colour, wrook) |
                        m_mobility.attacked(colour, wking);
    if (ring & m_mobility.attacked(colour, wqueen) & ~own & support & ~m_mobility.attacked(1 - colour, 7))
        out[ks_queen_contact] = p.stm() == colour ? ms.queen_contact_to_move : ms.queen_contact_waiting;
    // Battlefield: own pieces standing on, and squares attacked in, the wing of the enemy king.
    const u64 field = battlefield(1 - colour, enemy_king);
    out[ks_knight_field] = popcnt(field & p.pieces(wknight + c).value());
    out[ks_bishop_field] = popcnt(field & p.pieces(wbishop + c).value());
    out[ks_rook_field] = popcnt(field & p.pieces(wrook + c).value());
    out[ks_queen_field] = popcnt(field & p.pieces(wqueen + c).value());
    out[ks_knight_field_attack] = popcnt(field & m_mobility.attacked(colour, wknight));
    out[ks_bishop_field_attack] = popcnt(field & m_mobility.attacked(colour, wbishop));
    out[ks_rook_field_attack] = popcnt(field & m_mobility.attacked(colour, wrook));
    out[ks_queen_field_attack] = popcnt(field & m_mobility.attacked(colour, wqueen));
}

void Evaluation::compute_king_safety() {
    int w[ks_size], b[ks_size];
    king_safety_of<1>(w);
    king_safety_of<0>(b);
    float *var = m_variables.data();
    auto diff = [&](int i) { return static_cast<float>(w[i] - b[i]); };
    var[v_pawn_shield] = diff(ks_shield);
    var[v_king_attack] = diff(ks_attack);
    var[v_castling_rights] = diff(ks_castling);
    var[v_pawn_storm] = diff(ks_storm);
    var[v_open_files_on_king] = diff(ks_open_files);
    var[v_knight_king_contact] = diff(ks_knight_contact);
    var[v_bishop_king_contact] = diff(ks_bishop_contact);
    var[v_rook_king_contact] = diff(ks_rook_contact);
    var[v_queen_king_contact] = diff(ks_queen_contact);
    var[v_knight_battlefield_contact] = diff(ks_knight_field);
    var[v_bishop_battlefield_contact] = diff(ks_bishop_field);
    var[v_rook_battlefield_contact] = diff(ks_rook_field);
    var[v_queen_battlefield_contact] = diff(ks_queen_field);
    var[v_knight_battlefield_attack] = diff(ks_knight_field_attack);
    var[v_bishop_battlefield_attack] = diff(ks_bishop_field_attack);
    var[v_rook_battlefield_attack] = diff(ks_rook_field_attack);
    var[v_queen_battlefield_attack] = diff(ks_queen_field_attack);
}

// king_activity: how near the king stands to the enemy pawns and to its own passed pawns (a distance to
// nothing counts as 0).
void Evaluation::compute_king_activity() {
    const ChessPosition &p = m_position;
    const Measures &ms = measures();
    const u64 wk = p.pieces(wking).value(), bk = p.pieces(bking).value();
    int w = 0, b = 0;
    if (wk) {
        const Square k = BitBoard::first_square(wk);
        w = 16 - ms.king_pawn_distance * m_distance(k, p.pieces(bpawn)) -
            ms.king_passer_distance * m_distance(k, m_passed[1]);
    }
    if (bk) {
        const Square k = BitBoard::first_square(bk);
        b = 16 - ms.king_pawn_distance * m_distance(k, p.pieces(wpawn)) -
            ms.king_passer_distance * m_distance(k, m_passed[0]);
    }
    m_variables[v_king_activity] = static_cast<float>(w - b);
}

void Evaluation::compute_pinned_pieces() {
    const u64 pinned = m_position.pinned_pieces().value();
    m_variables[v_pinned_pieces] = static_cast<float>(popcnt(pinned & m_position.black_pieces().value()) -
                                                      popcnt(pinned & m_position.white_pieces().value()));
}

void Evaluation::compute_opposite_colored_bishops() {
    const u64 wb = m_position.pieces(wbishop).value(), bb = m_position.pieces(bbishop).value();
    const u64 both = wb | bb;
    const bool opposite = popcnt(both) == 2 && popcnt(wb) == 1 && (both & white_squares.value()) &&
                          (both & black_squares.value());
    m_variables[v_opposite_colored_bishops] = opposite ? 1.0f : 0.0f;
}

int Evaluation::static_eval() {
    const std::uint64_t key = m_position.key();
    CachedEval &e = m_cache[key & cache_mask];
    if (e.key == key) {
        ++m_evaluations;
        m_last_score = e.score;
        m_passed[1] = e.passed[1];
        m_passed[0] = e.passed[0];
        if (m_logging && m_log.is_open()) m_log << m_position.fen() << " : " << m_last_score << "\n";
        return for_side_to_move();
    }
    compute();
    e.key = key;
    e.score = m_last_score;
    e.passed[1] = m_passed[1];
    e.passed[0] = m_passed[0];
    return for_side_to_move();
}

int Evaluation::full_eval() {
    compute();
    return for_side_to_move();
}

int Evaluation::for_side_to_move() const {
    return static_cast<int>(m_position.white_to_move() ? m_last_score : -m_last_score);
}

float Evaluation::compute() {
    ++m_evaluations;
    float acc = 0.0f;
    compute_phase();
    compute_material();
    compute_mobility();
    m_variables[v_space] = 0.0f; // switched off on purpose
    compute_pst();
    compute_pawn_eval();
    compute_development();
    compute_king_safety();
    compute_king_activity();
    compute_pinned_pieces();
    compute_opposite_colored_bishops();
    m_variables[v_stm] = m_position.white_to_move() ? 1.0f : -1.0f;
    // Our measuring rules count raw units; each variable's scale brings it to the weights' scale. Every
    // variable is multiplied, in one loop the compiler vectorises: the fixed ones have a scale of 1, which
    // changes no bit, and a fitted table scales most of the free ones.
    const float *scale = measures().scale;
    float *scaled = m_variables.data();
    for (int i = 0; i < Weight::size; ++i)
        scaled[i] *= scale[i];

    const float *var = m_variables.data();
    const float *mg = m_weight.mg().data();
    const float *eg = m_weight.eg().data();
    for (int i = 0; i < Weight::size; ++i)
        acc += var[i] * mg[i] * m_mg_factor + var[i] * eg[i] * m_eg_factor;
    // Dividing by 1 (no opposite-coloured bishops) changes nothing, so only the halving divides.
    const float opposite = var[v_opposite_colored_bishops];
    m_last_score = round_half_away(
        opposite == 0.0f
            ? acc
            : static_cast<float>(static_cast<double>(acc) / (static_cast<double>(opposite) + 1.0)));

    // The special evaluators start from the linear score.
    int score = 0;
    if (special_endgame(m_position.materialindex().index(), score)) m_last_score = static_cast<float>(score);
    if (m_logging && m_log.is_open()) m_log << m_position.fen() << " : " << m_last_score << "\n";
    return m_last_score;
}

float Evaluation::contribution(int first, int last) const {
    float sum = 0.0f;
    for (int i = first; i <= last; ++i)
        sum += m_variables[i] * (m_weight.eg()[i] * m_eg_factor + m_weight.mg()[i] * m_mg_factor);
    return sum;
}

float Evaluation::mobility() const {
    return contribution(v_mobility, v_queen_mobility) + contribution(v_safe_queencheck, v_safe_queencheck) +
           contribution(v_locked_up_rook, v_own_hanging_material);
}

float Evaluation::king_safety() const {
    return contribution(v_pawn_shield, v_open_files_on_king) +
           contribution(v_knight_king_contact, v_queen_battlefield_attack);
}

std::string Evaluation::report() const {
    std::ostringstream os;
    float total = 0.0f;
    for (int i = 0; i < Weight::size; ++i) {
        const float v = m_variables[i];
        os << std::left << std::setw(30) << m_weight.names()[i] << std::right << std::setw(20)
           << v * m_weight.mg()[i] << "     " << std::setw(20) << v * m_weight.eg()[i] << "\n";
        total += v * (m_weight.eg()[i] * m_eg_factor + m_weight.mg()[i] * m_mg_factor);
    }
    os << "\nTotal score: " << static_cast<int>(total) << "     (white's point of view)\n";
    return os.str();
}

std::string Evaluation::stats() const {
    std::ostringstream os;
    os << "Evaluation::stats)  missed pht reads: " << m_pawnhash.misses()
       << "   total evals: " << m_evaluations;
    return os.str();
}
