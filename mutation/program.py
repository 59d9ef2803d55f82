"""The tests, and the program that some of them run, with all mutants in them, made below build/mutation of what build/linux has."""

import concurrent.futures
import hashlib
import json
import os
import re
import shlex
import subprocess

from points import points_of, with_switches

TESTS = ["zendro_tests", "zendro_cli_tests"]
PROGRAMS = [*TESTS, "zendro"]
MOST = 1000  # changes of one source, whose numbers stay when another source changes
SWITCH = os.path.join(os.path.dirname(os.path.realpath(__file__)), "switch.h")


class Source:
    """A source with all mutants that compile. Each changes by a switch of its own."""

    def __init__(self, path, text, first):
        self.path = path
        self.text = text
        points = points_of(path, text)
        self.numbered = list(zip(points, range(first, first + len(points))))
        self.rejected = []

    def compile(self, command, folder, output, headers):
        """Without what the compiler rejects: a line that it names loses its changes."""
        path = os.path.join(os.path.dirname(output), "mutated_" + os.path.basename(self.path))
        command = shlex.split(command)
        command[command.index("-o") + 1] = output
        command[command.index("-c") + 1] = path
        command += ["-O0", "-g0", "-w", "-include", SWITCH]
        parts = [headers, with_switches(self.text, self.numbered), *command]
        made_of = hashlib.sha256("\0".join(parts).encode()).hexdigest()
        if self.is_made(output, made_of):
            return
        while True:
            with open(path, "w", encoding="utf-8") as file:
                file.write(with_switches(self.text, self.numbered))
            done = subprocess.run(command, cwd=folder, capture_output=True, text=True, check=False)
            if done.returncode == 0:
                with open(output + ".json", "w", encoding="utf-8") as file:
                    json.dump({"made_of": made_of, "numbers": [number for _, number in self.numbered]}, file)
                return
            named = re.findall(re.escape(os.path.basename(path)) + r":(\d+):.*(?:error|required from)", done.stderr)
            lines = {int(line) for line in named}
            kept = {number for point, number in self.numbered if not self.touches(point, lines)}
            if len(kept) == len(self.numbered):
                raise RuntimeError(f"{self.path} does not compile:\n{done.stderr[-3000:]}")
            self.keep(kept)

    def is_made(self, output, made_of):
        """Whether an earlier run compiled the same."""
        if not (os.path.exists(output) and os.path.exists(output + ".json")):
            return False
        with open(output + ".json", encoding="utf-8") as file:
            known = json.load(file)
        if known["made_of"] == made_of:
            self.keep(set(known["numbers"]))
        return known["made_of"] == made_of

    def keep(self, numbers):
        self.rejected += [point for point, number in self.numbered if number not in numbers]
        self.numbered = [(point, number) for point, number in self.numbered if number in numbers]

    def touches(self, point, lines):
        """Whether the compiler may mean the change. An operator may stand at the end of a line."""
        following = len(self.text) - len(self.text[point.end:].lstrip())
        last = point.line + self.text.count("\n", point.start, following)
        return any(point.line <= line <= last for line in lines)


class Program:
    """Links the tests with the changed sources `names`."""

    def __init__(self, root, names, jobs):
        self.root = root
        self.jobs = jobs
        self.folder = os.path.join(root, "build/mutation")
        self.build = os.path.join(root, "build/linux")
        self.binaries = os.path.join(self.folder, "bin")
        self.sources = []
        for place, name in enumerate(names):
            with open(os.path.join(root, name), encoding="utf-8") as file:
                self.sources.append(Source(name, file.read(), 1 + MOST * place))
        self.count = MOST * len(names)

    def make(self):
        subprocess.run(["ninja", "-C", self.build, f"-j{self.jobs}", *PROGRAMS], check=True)
        with open(os.path.join(self.build, "compile_commands.json"), encoding="utf-8") as file:
            commands = {os.path.relpath(one["file"], self.root): one for one in json.load(file)}
        headers = self.headers()
        objects = []
        with concurrent.futures.ThreadPoolExecutor(self.jobs) as pool:
            running = []
            for source in self.sources:
                if source.path not in commands:
                    continue  # of another system
                command = commands[source.path]
                output = os.path.join(self.folder, "objects", source.path + ".o")
                os.makedirs(os.path.dirname(output), exist_ok=True)
                objects.append(output)
                running.append(pool.submit(source.compile, command["command"], command["directory"], output,
                                           headers))
            for one in running:
                one.result()
        self.sources = [source for source in self.sources if source.path in commands]
        os.makedirs(self.binaries, exist_ok=True)
        for program in PROGRAMS:
            self.link(program, objects)

    def headers(self):
        """What the sources include, in one string."""
        names = subprocess.run(["git", "ls-files", "*.h", "*.def", ":!tests"], check=True, text=True, capture_output=True,
                               cwd=self.root).stdout.split()
        texts = []
        for name in names:
            with open(os.path.join(self.root, name), encoding="utf-8") as file:
                texts.append(file.read())
        return "\0".join(texts)

    def link(self, program, objects):
        """The linker takes from a library only what no object before it has: the changed objects stand in
        for those of the libraries."""
        commands = subprocess.run(["ninja", "-C", self.build, "-t", "commands", program], check=True, text=True,
                                  capture_output=True).stdout.splitlines()[-1]
        link = next(shlex.split(part) for part in commands.split(" && ") if f" -o bin/{program} " in part)
        output = link.index("-o")
        link[output + 1] = os.path.join(self.binaries, program)
        link[output:output] = objects
        subprocess.run(link, cwd=self.build, check=True)
