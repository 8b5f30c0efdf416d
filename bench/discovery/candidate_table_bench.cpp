// The candidate table and its file, with 1 and 15 stations that are ready for their credentials.
#include "discovery/candidate_table.h"

#include "core/driver_event.h"
#include "support/bench.h"

namespace {

void fill_table(const benchmark::State& state) {
  context.candidate_count = static_cast<std::int32_t>(state.range(0));
  std::uint8_t number = 0;
  for (CandidateEntry& row : candidate_table) {
    row.mac = sta_text({2, 0, 0, 0, 0, number++});
    row.stage = CANDIDATE_READY;
    row.key_len = 451;
    copy_text(row.pub_key, air::from_text(std::string(row.key_len, 'k')));
  }
}

void find_last_candidate(benchmark::State& state) {
  fill_table(state);
  const MacText last = candidate_table[static_cast<std::size_t>(state.range(0) - 1)].mac;
  measure(state,
          [&] { check_in_candidate_list(candidate_table, context.candidate_count, last.data()); });
}
BENCHMARK(find_last_candidate)->Arg(1)->Arg(15);

void offer_known_candidate(benchmark::State& state) {
  fill_table(state);
  measure(state, [] { update_candidate_table(candidate_table, candidate_table[0]); });
}
BENCHMARK(offer_known_candidate)->Arg(1)->Arg(15);

void write_candidate_file(benchmark::State& state) {
  fill_table(state);
  measure(state, [] { write_candidate_json(candidate_table); });
}
BENCHMARK(write_candidate_file)->Arg(1)->Arg(15);

}  // namespace
