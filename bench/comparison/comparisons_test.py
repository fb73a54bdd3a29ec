"""comparisons_test : what is compared."""

import unittest

import comparisons
from clients import LIFECYCLE, PLUGIN, POCO
from comparisons import CHAINHOST, FULL, GROUPS, SHORT, comparisons_of
from work import KIB, MIB


def works_of(group, scale=FULL):
    return {cell.work for each in comparisons_of(group, scale) for cell in each.cells}


class ComparisonsTest(unittest.TestCase):
    def test_a_cell_is_found_by_client_and_work_if_it_is_the_only_one(self):
        comparison = comparisons.one_at_a_time(FULL)

        self.assertEqual(comparison.cell(PLUGIN, connections=128).work.under_way, 1)
        with self.assertRaisesRegex(LookupError, "2 cells of plugin"):
            comparison.cell(PLUGIN)
        with self.assertRaisesRegex(LookupError, "0 cells of poco"):
            comparison.cell(POCO)

    def test_what_two_groups_share_is_one_comparison(self):
        goals, clients = (set(comparisons_of(group, FULL)) for group in ("goals", "clients"))

        self.assertIn(comparisons.small_post(FULL), goals & clients)
        self.assertLessEqual(
            {comparisons.upload(100 * KIB), comparisons.download(MIB)},
            goals & set(comparisons_of("bodies", FULL)),
        )

    def test_titles_tell_comparisons_apart(self):
        for scale in (FULL, SHORT):
            every = {each for group in GROUPS for each in comparisons_of(group, scale)}
            self.assertEqual(len({each.title for each in every}), len(every))

    def test_all_of_the_matrix_is_there(self):
        self.assertEqual({work.connections for work in works_of("clients")}, {1, 2, 8, 32, 128})
        self.assertEqual({work.tls for work in works_of("clients")}, {False, True})
        sizes = {0, KIB, 10 * KIB, 100 * KIB, MIB}
        self.assertEqual({work.request_bytes for work in works_of("bodies")}, sizes)
        self.assertEqual({work.response_bytes for work in works_of("bodies")}, sizes)
        keyed = {(work.keys, work.delay_ms) for work in works_of("keys")}
        self.assertEqual(keyed, {(k, d) for k in (0, 1, 2, 5, 10, 100) for d in (0, 1, 5)})
        self.assertEqual({work.flush_every for work in works_of("flush")}, {0, 10, 100, 1000})
        self.assertEqual(comparisons.shares_of(("latency",), FULL), (0.1, 0.5, 0.8))
        idle = {(work.connections, work.tls) for work in works_of("memory")}
        self.assertEqual(idle, {(n, tls) for n in (1, 128) for tls in (False, True)})

    def test_programs_take_part_once(self):
        compared = [
            each for each in comparisons_of("clients", FULL)
            if CHAINHOST in {cell.client for cell in each.cells}
        ]

        self.assertEqual(compared, [comparisons.small_post(FULL)])

    def test_a_pace_is_the_same_for_all(self):
        (half,) = comparisons.paced_comparisons(1000, (0.5,))

        self.assertEqual(half.title, "50% of the peak rate")
        self.assertEqual([cell.work.rate for cell in half.cells], [500, 500, 500])

    def test_clients_are_told_from_works(self):
        self.assertTrue(comparisons.is_of_clients(comparisons.download(0)))
        self.assertFalse(comparisons.is_of_clients(comparisons.idle(FULL, False)))
        self.assertEqual(comparisons.idle(FULL, True).cells[0].client, LIFECYCLE)


if __name__ == "__main__":
    unittest.main()
