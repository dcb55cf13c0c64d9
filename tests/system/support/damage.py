"""Checks on loads of damaged copies of a recording."""

from support import command, result


def load_damaged(test, content, folder):
    """Loads `content` as a file and checks what must hold whatever is wrong with it; gives the outcome and the
    folder of the result, None when there is none."""
    folder.mkdir(exist_ok=True)
    source = folder / "in"
    source.write_bytes(content)
    for old in folder.glob("r/*"):
        old.unlink()
    outcome = command.load(source, folder / "r", timeout=30, memory=1 << 30)
    test.assertIn(outcome.code, (command.DONE, command.FAILED), outcome)
    test.assertLessEqual(len(outcome.error_lines), 1, outcome.err)
    test.assertEqual(outcome.code == command.FAILED, bool(outcome.err), outcome)
    if not result.database(folder / "r").exists():
        test.assertEqual(outcome.code, command.FAILED)
        return outcome, None
    test.assert_whole(folder / "r")
    info = result.info(folder / "r")
    test.assertEqual(info["state"], "complete")
    rows = result.value(folder / "r", "SELECT count(*) FROM sample_instance")
    test.assertEqual(rows, int(info["sample_rows"]))
    test.assertEqual(int(info["samples_in_input"]), rows + int(info["samples_dropped"]))
    test.assertEqual(bool(info.get("input_fault")), outcome.code == command.FAILED)
    return outcome, folder / "r"
