"""The page's programs, word for word."""
import os
import pathlib
import re

import pixmill
import pytest

SOURCE = pathlib.Path(os.environ.get("PIXMILL_SOURCE", pathlib.Path(__file__).parents[2]))


@pytest.mark.parametrize("page", ["docs/python.md", "README.md"])
def test_the_programs_of_a_page_run(page, tmp_path, monkeypatch):
    monkeypatch.chdir(tmp_path)
    programs = re.findall(r"```python\n(.*?)```", (SOURCE / page).read_text(), re.S)
    assert programs
    exec(compile("".join(programs), page, "exec"), {})


def test_the_pages_name_every_function_and_class():
    text = "".join(page.read_text() for page in (SOURCE / "docs").glob("*.md"))
    missing = {"rgb_to_luma", "ydrdb_to_rgb", "filter_table", "threads"}  # help() tells of these
    assert {name for name in pixmill.__all__ if not name.startswith("_") and name not in text} <= missing
