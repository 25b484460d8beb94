#!/usr/bin/python3
"""The documents speak of things that exist: links, files, commands and their options, and messages."""
import re
import sys
import unittest
from pathlib import Path

TOP = Path(__file__).resolve().parent.parent.parent
sys.path.insert(0, str(TOP / "tests"))
sys.path.insert(0, str(TOP / "tests" / "layout"))
from support import python_tests  # noqa: E402
from test_layout import ARROWS  # noqa: E402

DOCUMENTS = sorted([*TOP.glob("*.md"), *TOP.glob("docs/*.md"), TOP / "vsthost" / "README.md"])
ROOMS = ["catalogue", "dsp", "frame", "player", "resources", "run", "sdk", "test", "tools", "ui", "vis", "vsthost", "win",
         "worker"]


def anchors(path):
    """As forges make them of headings."""
    return {re.sub(r"[^\w\- ]", "", head.lower()).strip().replace(" ", "-")
            for head in re.findall(r"^#+ (.*)$", path.read_text(), re.MULTILINE)}


def broken_links(path):
    text = re.sub(r"```.*?```", "", path.read_text(), flags=re.DOTALL)
    for target in re.findall(r"\]\(([^)\s]+)\)", text):
        file, _, anchor = target.partition("#")
        to = (path.parent / file).resolve() if file else path
        if "://" in target or not to.exists() or (anchor and to.suffix == ".md" and anchor not in anchors(to)):
            yield f"{path.relative_to(TOP)}: link to {target}"


def missing_files(path):
    """Names in backticks or indented commands that look like files of this tree."""
    first = "|".join([*ROOMS, "benches", "cmake", "docs", "effects", "tests"])
    for name in re.findall(rf"(?:^    |[`\s(])((?:\./)?(?:{first})/[\w./-]*\w)", path.read_text(), re.MULTILINE):
        if not (TOP / name).exists() and not name.startswith("effects/x"):
            yield f"{path.relative_to(TOP)}: names {name}"


def unknown_options(path, known):
    """Options in the commands of the documents that no program or script of ours knows."""
    for line in path.read_text().splitlines():
        if re.search(r"\./(run|test|bench)\b|qvxplayer|qvxVSTHost|tools/", line):
            for option in re.findall(r"(?<![\w-])--[a-z][a-z0-9-]+", line):
                if option not in known:
                    yield f"{path.relative_to(TOP)}: {option} in: {line.strip()}"


def drawn_arrows(text):
    """Of the picture of rooms: what each may include, its arrows followed to their ends."""
    picture = next(part for part in re.findall(r"```mermaid\n(.*?)```", text, re.DOTALL) if "frame -->" in part)
    direct = {}
    for start, label, end in re.findall(r'^ *(\w+) -(?:->|\. "(.*)" \.->) (\w+)$', picture, re.MULTILINE):
        direct.setdefault(start, set()).add(label or end)
        direct.setdefault(end, set())

    def below(room):
        return set.union(set(), *({other} | below(other) for other in direct.get(room, ())))
    return {room: below(room) for room in direct}


def source_text():
    """All string literals of the product and its scripts, adjacent ones joined, as users see them."""
    text = ""
    for room in ROOMS:
        for path in sorted((TOP / room).rglob("*")) if (TOP / room).is_dir() else [TOP / room]:
            if path.is_file() and path.suffix in (".cpp", ".h", ".rc", ".py", ""):
                text += path.read_text(errors="replace") + "\n"
    text = re.sub(r'(?<!\\)"\s*\n?\s*L?"', "", text)
    return re.sub(r'\\(["\\])', r"\1", text)


def unknown_messages(page, sources):
    """Messages of the list whose fixed parts stand nowhere in the sources."""
    for item in re.findall(r"^- (`.*?)(?=^- |^#|^$|\Z)", page, re.MULTILINE | re.DOTALL):
        # Up to the colon that ends the messages; backticks after it are explanations of other kinds.
        for message in re.findall(r"`([^`]+)`", re.split(r"`:", item, maxsplit=1)[0] + "`"):
            message = " ".join(message.split())
            for part in message.split("..."):
                if len(part.strip()) > 3 and part.strip() not in sources:
                    yield f"{message}: {part!r}"


# What tells a user something. Mistakes on the command line explain themselves.
TELLS = re.compile(r"\b(report|fatal_error|player_error|wav_error|throw_file_error|runtime_error|print|show_popup|refuse|"
                   r"unusable|broken|tellConsole)[({]")
EXPLAIN_THEMSELVES = {"command_line.cpp", "command_help.cpp", "component_settings.cpp"}


def literals(statement):
    return [text.replace('\\"', '"').strip(" :;,.") for text in re.findall(r'(?<![\\L])"((?:[^"\\\n]|\\.)*)"', statement)]


def unexplained(page, text):
    """Statements that tell a user something in more than three words of which the page has none."""
    explained = {part.strip(" :;,.") for message in re.findall(r"`([^`]+)`", page)
                 for part in " ".join(message.split()).split("...") if len(part) > 7}
    text = re.sub(r'(?<!\\)"\s*\n\s*"', "", re.sub(r"//[^\n]*|#include.*", "", text))
    for statement in text.split(";"):
        told = [literal for literal in literals(statement) if len(literal.split()) > 3] if TELLS.search(statement) else []
        if told and not any(part in literal or literal in part for literal in literals(statement) for part in explained
                            if len(literal) > 7):
            yield " | ".join(told)


class Documents(unittest.TestCase):
    def none(self, problems):
        problems = list(problems)
        if problems:
            self.fail("\n" + "\n".join(problems))

    def test_links_and_files(self):
        """links and file names in the documents lead somewhere"""
        self.assertGreater(len(DOCUMENTS), 5)
        for path in DOCUMENTS:
            with self.subTest(path.name):
                self.none([*broken_links(path), *missing_files(path)])

    def test_picture(self):
        """the picture of the rooms shows the arrows that hold"""
        drawn = drawn_arrows((TOP / "docs" / "architecture.md").read_text())
        real = {room: set(below) for room, below in ARROWS.items() if room != "effects"}
        # The entry needs no dialog template itself; that it may not have one is not worth an arrow.
        drawn["frame"].discard("resources")
        self.assertEqual(drawn, real)

    def test_options(self):
        """options of commands in the documents exist"""
        known = set(re.findall(r"--[a-z][a-z0-9-]+", source_text() + (TOP / "bench").read_text()))
        for path in DOCUMENTS:
            with self.subTest(path.name):
                self.none(unknown_options(path, known))

    def test_messages(self):
        """every message that is explained is one of the sources"""
        page = (TOP / "docs" / "troubleshooting.md").read_text()
        sources = source_text()
        self.assertGreater(page.count("\n- `"), 50)
        self.none(unknown_messages(page, sources))
        planted = list(unknown_messages("- `VST error`, `VST ... terrified`: no\n", sources))
        self.assertEqual(planted, ["VST ... terrified: ' terrified'"])

    def test_unexplained(self):
        """every message of the sources is explained"""
        page = (TOP / "docs" / "troubleshooting.md").read_text()
        self.none(f"{path.relative_to(TOP)}: {message}" for room in ROOMS for path in sorted((TOP / room).rglob("*.cpp"))
                  if path.name not in EXPLAIN_THEMSELVES and path.parts[len(TOP.parts)] != "tools"
                  for message in unexplained(page, path.read_text()))
        planted = 'report("the effect sings "\n    "out of tune"); f("no thing to tell"); report("VST error at the end");'
        self.assertEqual(list(unexplained(page, planted)), ["the effect sings out of tune"])

    def test_planted(self):
        """a planted broken link, file and option are found"""
        page = TOP / "build" / "planted.md"
        page.parent.mkdir(exist_ok=True)
        page.write_text("[a](nowhere.md) `tools/nothing` [b](../README.md#no-such-heading)\n    ./run --bogus\n")
        self.addCleanup(page.unlink)
        self.assertEqual(len(list(broken_links(page))), 2)
        self.assertEqual(len(list(missing_files(page))), 1)
        self.assertEqual(len(list(unknown_options(page, {"--json"}))), 1)


if __name__ == "__main__":
    sys.exit(python_tests.main())
