#!/usr/bin/env python3
"""Writes a home folder with coding-agent transcripts for benchmarking the conversation index.

The corpus is deterministic for a given seed and options. It holds the transcript folders of
the four agents in the record shapes they write:

  ~/.claude/projects/<encoded folder>/<session>.jsonl   (+ <session>/subagents/agent-*.jsonl)
  ~/.codex/sessions/YYYY/MM/DD/rollout-<time>-<id>.jsonl
  ~/.pi/agent/sessions/<encoded folder>/<time>_<id>.jsonl
  ~/.zenith/agent/sessions/<encoded folder>/<time>_<id>.jsonl

Most bytes are tool output (whole files, diffs, base64 images, sometimes megabytes on one
line), as in real transcripts; the messages use a vocabulary with a long tail, so search terms
range from very common to rare. A few marker words are planted at known rates:
  "kaleidoscope" in about 1 message in 20,000, "quixotic" in 1 in 2,000,
  "serendipity" in 1 in 200; "xylophonist" never occurs.

  corpusgen.py --out DIR [--size 1G] [--files 5000] [--seed 1]
  corpusgen.py --out DIR --grow 0.01 [--seed 2]   # append new lines to 1% of the files
"""

import argparse
import base64
import datetime
import json
import os
import random
import sys

PROSE = """the a of to and in is it that for on with as this be are by was not or from at have
an but we they can if you will all which there their has more when one so what do would out
up about into than them could only other new some time these may then two first any like now
my such make over our even most after also made many before must through back where much way
well should because each just those people how too little state good very world still own
see men work long here between both life being under never day same another know while last
might great old year off come since against go came right used take three states himself few
house use during without again place around however home small found thought went say part
once general high upon school every does got united left number course war until always away
something fact though water less public put think almost hand enough far took head yet
government system better set told nothing night end why called didn't eyes find going look
asked later knew point next program city business give group toward young let room president
side social given present several order national possible rather second face per among form
important often things looking early white case john become large big need four within felt
along children saw best church ever least power development light thing seemed family
interest want members mind country area others done turned although open god service certain
kind problem began different door thus help sense means whole matter perhaps itself york
times law human line above name example action company hands local show whether five history
gave today either act feet across taken past quite anything seen having death week experience
fix failing test tests build error warning crash bug issue patch change changes refactor
rename function method class module package import export return value values type types
file files folder path paths branch merge rebase commit push pull review reviewer deploy
release version dependency dependencies config configuration option options flag flags
server client request response timeout retry cache index query queries database table
column row rows schema migration thread threads lock mutex race async await promise future
stream buffer parser token tokens lexer syntax tree node nodes graph edge edges widget panel
window render layout style theme color font icon button menu dialog event events handler
callback signal slot timer memory leak pointer reference allocation performance benchmark
latency throughput profile trace log logs debug release check checks lint format""".split()

SYLLABLES = ("ka ri to mu ne so la vi de po ba zu fe gi ho ja ke lo ma ni pu ra se ti vo wa "
             "xe yu ze bro cla dri fla gro ple sta tri").split()

RARE_MARKERS = [("kaleidoscope", 20000), ("quixotic", 2000), ("serendipity", 200)]


class Vocabulary:
    """Prose, identifiers, paths and hyphenated names with Zipf-like frequencies."""

    def __init__(self, rng):
        words = list(PROSE)
        for _ in range(4000):  # identifiers: camelCase, snake_case, hyphenated names
            parts = ["".join(rng.choice(SYLLABLES) for _ in range(rng.randint(1, 3)))
                     for _ in range(rng.randint(1, 3))]
            style = rng.random()
            if style < 0.4:
                words.append(parts[0] + "".join(p.capitalize() for p in parts[1:]))
            elif style < 0.7:
                words.append("_".join(parts))
            elif style < 0.85:
                words.append("-".join(parts))
            else:
                words.append("src/" + "/".join(parts) + rng.choice([".cpp", ".h", ".py", ".ts", ".rs"]))
        self.words = words
        weights = [1.0 / (rank + 1) ** 1.07 for rank in range(len(words))]
        total = 0.0
        self.cumulative = []
        for weight in weights:
            total += weight
            self.cumulative.append(total)
        self.rng = rng

    def sentence(self):
        n = self.rng.randint(5, 24)
        chosen = self.rng.choices(self.words, cum_weights=self.cumulative, k=n)
        for marker, rate in RARE_MARKERS:
            if self.rng.randrange(rate) == 0:
                chosen[self.rng.randrange(n)] = marker
        text = " ".join(chosen)
        return text[0].upper() + text[1:] + self.rng.choice([".", ".", ".", "?", "!"])

    def paragraph(self, sentences=None):
        return " ".join(self.sentence() for _ in range(sentences or self.rng.randint(1, 12)))


class Bulk:
    """Tool output: slices of a large code-like text, diffs, base64 images."""

    def __init__(self, rng, vocabulary):
        lines = []
        size = 0
        while size < 6 * 1024 * 1024:
            indent = "    " * rng.randint(0, 3)
            words = rng.choices(vocabulary.words, cum_weights=vocabulary.cumulative,
                                k=rng.randint(2, 10))
            line = indent + rng.choice(["", "return ", "if (", "let ", "// ", "auto "]) + " ".join(words)
            lines.append(line)
            size += len(line) + 1
        self.text = "\n".join(lines)
        self.image = base64.b64encode(rng.randbytes(3 * 1024 * 1024)).decode()
        self.rng = rng

    def output(self):
        r = self.rng.random()
        if r < 0.0015:  # a whole large file or log: megabytes on one line
            length = self.rng.randint(1024 * 1024, 3 * 1024 * 1024)
        elif r < 0.08:
            length = self.rng.randint(8 * 1024, 30 * 1024)
        else:
            length = self.rng.randint(100, 2500)
        start = self.rng.randrange(0, len(self.text) - min(length, len(self.text) - 1))
        return self.text[start:start + length]

    def diff(self):
        body = self.output()[:20000].split("\n")
        return "\n".join(("+" if i % 3 else "-") + line for i, line in enumerate(body))

    def base64_image(self):
        length = self.rng.randint(50 * 1024, 1024 * 1024)
        start = self.rng.randrange(0, len(self.image) - length)
        return self.image[start:start + length]


def dumps(record):
    return json.dumps(record, separators=(",", ":"), ensure_ascii=False)


class Clock:
    def __init__(self, rng):
        self.rng = rng
        self.now = datetime.datetime(2025, 1, 1, tzinfo=datetime.timezone.utc) + \
            datetime.timedelta(seconds=rng.randrange(0, 330 * 86400))

    def tick(self):
        self.now += datetime.timedelta(milliseconds=self.rng.randint(200, 90000))
        return self.now.strftime("%Y-%m-%dT%H:%M:%S.") + "%03dZ" % (self.now.microsecond // 1000)


def uuid(rng):
    h = "%032x" % rng.getrandbits(128)
    return "%s-%s-%s-%s-%s" % (h[:8], h[8:12], h[12:16], h[16:20], h[20:])


class Writer:
    def __init__(self, rng, vocabulary, bulk):
        self.rng = rng
        self.v = vocabulary
        self.bulk = bulk

    def project(self):
        name = self.rng.choice(["peekwell", "shelfwise", "api-server", "web-client", "infra",
                                "data-pipeline", "mobile-app", "docs-site", "ml-training", "cli"])
        return "/home/dev/src/" + name + ("-%d" % self.rng.randint(1, 40))

    def tool_output(self):
        r = self.rng.random()
        if r < 0.08:
            return self.bulk.diff()
        return self.bulk.output()

    # --- Claude Code -------------------------------------------------------------------
    def claude_lines(self, session, cwd, clock, target, with_meta=True):
        rng, v = self.rng, self.v
        base = {"parentUuid": None, "isSidechain": False, "userType": "external", "cwd": cwd,
                "sessionId": session, "version": "2.0.%d" % rng.randint(1, 60), "gitBranch": "main"}
        size = 0
        first = True
        while size < target:
            ts = clock.tick()
            r = rng.random()
            if with_meta and first:
                record = dict(base, type="user", uuid=uuid(rng), timestamp=ts,
                              message={"role": "user", "content": "<command-name>/clear</command-name>"})
                first = False
            elif r < 0.15:
                record = dict(base, type="user", uuid=uuid(rng), timestamp=ts,
                              message={"role": "user", "content": v.paragraph()})
            elif r < 0.17:
                injected = rng.choice([
                    "<system-reminder>" + v.paragraph(3) + "</system-reminder>",
                    "<local-command-stdout>" + v.sentence() + "</local-command-stdout>",
                    "<command-message>" + v.sentence() + "</command-message>"])
                record = dict(base, type="user", uuid=uuid(rng), timestamp=ts,
                              message={"role": "user", "content": [{"type": "text", "text": injected}]})
            elif r < 0.37:
                tool_id = "toolu_" + uuid(rng).replace("-", "")[:24]
                if rng.random() < 0.03:
                    content = [{"type": "image", "source": {"type": "base64", "media_type": "image/png",
                                                            "data": self.bulk.base64_image()}}]
                    result = {"type": "image"}
                else:
                    out = self.tool_output()
                    content = out
                    result = {"stdout": out, "stderr": "", "interrupted": False}
                record = dict(base, type="user", uuid=uuid(rng), timestamp=ts,
                              message={"role": "user", "content": [
                                  {"tool_use_id": tool_id, "type": "tool_result", "content": content,
                                   "is_error": rng.random() < 0.05}]},
                              toolUseResult=result)
            elif r < 0.62:
                record = dict(base, type="assistant", uuid=uuid(rng), timestamp=ts, requestId="req_%x" % rng.getrandbits(48),
                              message={"id": "msg_%x" % rng.getrandbits(64), "type": "message", "role": "assistant",
                                       "model": "claude-sonnet-4-5", "content": [{"type": "text", "text": v.paragraph()}],
                                       "usage": {"input_tokens": rng.randint(1, 9000), "output_tokens": rng.randint(1, 2000)}})
            elif r < 0.70:
                record = dict(base, type="assistant", uuid=uuid(rng), timestamp=ts,
                              message={"role": "assistant", "type": "message",
                                       "content": [{"type": "thinking", "thinking": v.paragraph(), "signature": "sig" + uuid(rng)}]})
            elif r < 0.85:
                record = dict(base, type="assistant", uuid=uuid(rng), timestamp=ts,
                              message={"role": "assistant", "type": "message",
                                       "content": [{"type": "tool_use", "id": "toolu_%x" % rng.getrandbits(64),
                                                    "name": rng.choice(["Bash", "Read", "Edit", "Grep", "Write"]),
                                                    "input": {"command": v.sentence(), "file_path": cwd + "/" + rng.choice(v.words)}}]})
            elif r < 0.90:
                record = {"type": "file-history-snapshot", "messageId": uuid(rng),
                          "snapshot": {"trackedFileBackups": {cwd + "/a.cpp": {"version": 1}}, "timestamp": ts},
                          "isSnapshotUpdate": False}
            elif r < 0.94:
                record = dict(base, type="system", subtype="informational", content=v.sentence(), timestamp=ts, level="info")
            elif r < 0.97:
                record = dict(base, type="attachment", timestamp=ts,
                              attachment={"type": "file", "path": cwd + "/README.md", "content": self.bulk.output()[:4000]})
            elif r < 0.985:
                record = {"type": "queue-operation", "operation": "enqueue", "timestamp": ts,
                          "sessionId": session, "content": v.sentence()}
            elif r < 0.993:
                record = {"type": "summary", "summary": v.sentence()[:70], "leafUuid": uuid(rng)}
            else:
                record = {"type": "custom-title", "customTitle": v.sentence()[:50], "sessionId": session}
            line = dumps(record) + "\n"
            size += len(line.encode())
            yield line

    # --- Codex -------------------------------------------------------------------------
    def codex_lines(self, session, cwd, clock, target, with_meta=True):
        rng, v = self.rng, self.v
        size = 0
        history = []
        if with_meta:
            head = [
                {"timestamp": clock.tick(), "type": "session_meta",
                 "payload": {"id": session, "timestamp": clock.tick(), "cwd": cwd, "originator": "codex_cli_rs",
                             "cli_version": "0.46.0", "instructions": None}},
                {"timestamp": clock.tick(), "type": "response_item",
                 "payload": {"type": "message", "role": "user", "content": [
                     {"type": "input_text", "text": "# AGENTS.md instructions for " + cwd + "\n\n" + v.paragraph(8)}]}},
                {"timestamp": clock.tick(), "type": "response_item",
                 "payload": {"type": "message", "role": "user", "content": [
                     {"type": "input_text", "text": "<environment_context>\n  <cwd>" + cwd + "</cwd>\n</environment_context>"}]}},
                {"timestamp": clock.tick(), "type": "response_item",
                 "payload": {"type": "message", "role": "user", "content": [
                     {"type": "input_text", "text": "<user_instructions>" + v.paragraph(3) + "</user_instructions>"}]}},
            ]
            for record in head:
                line = dumps(record) + "\n"
                size += len(line.encode())
                yield line
        while size < target:
            ts = clock.tick()
            r = rng.random()
            records = []
            if r < 0.12:
                text = v.paragraph()
                history.append(text)
                records = [{"timestamp": ts, "type": "response_item", "payload": {"type": "message", "role": "user",
                            "content": [{"type": "input_text", "text": text}]}},
                           {"timestamp": ts, "type": "event_msg", "payload": {"type": "user_message", "message": text, "images": []}},
                           {"timestamp": ts, "type": "turn_context", "payload": {"cwd": cwd, "approval_policy": "on-request",
                            "sandbox_policy": {"mode": "workspace-write"}, "model": "gpt-5-codex", "summary": "auto"}}]
            elif r < 0.27:
                text = v.paragraph()
                history.append(text)
                records = [{"timestamp": ts, "type": "response_item", "payload": {"type": "message", "role": "assistant",
                            "content": [{"type": "output_text", "text": text}]}},
                           {"timestamp": ts, "type": "event_msg", "payload": {"type": "agent_message", "message": text}}]
            elif r < 0.37:
                records = [{"timestamp": ts, "type": "response_item", "payload": {"type": "reasoning",
                            "summary": [{"type": "summary_text", "text": v.sentence()}], "encrypted_content": base64.b64encode(rng.randbytes(600)).decode()}}]
            elif r < 0.62:
                call = "call_%x" % rng.getrandbits(64)
                records = [{"timestamp": ts, "type": "response_item", "payload": {"type": "function_call", "name": "shell",
                            "arguments": json.dumps({"command": ["bash", "-lc", v.sentence()]}), "call_id": call}}]
            elif r < 0.90:
                records = [{"timestamp": ts, "type": "response_item", "payload": {"type": "function_call_output",
                            "call_id": "call_%x" % rng.getrandbits(64),
                            "output": json.dumps({"output": self.tool_output(), "metadata": {"exit_code": 0}})}}]
            elif r < 0.995:
                records = [{"timestamp": ts, "type": "event_msg", "payload": {"type": "token_count",
                            "info": {"total_token_usage": {"input_tokens": rng.randint(1000, 90000), "output_tokens": rng.randint(10, 9000)}}}}]
            else:
                replacement = [{"type": "message", "role": "user", "content": [{"type": "input_text", "text": t}]}
                               for t in history[-20:]]
                records = [{"timestamp": ts, "type": "compacted", "payload": {"message": v.paragraph(2),
                            "replacement_history": replacement}}]
            for record in records:
                line = dumps(record) + "\n"
                size += len(line.encode())
                yield line

    # --- Pi and Zenith -----------------------------------------------------------------
    def pi_lines(self, session, cwd, clock, target, with_meta=True):
        rng, v = self.rng, self.v
        size = 0
        if with_meta:
            line = dumps({"type": "session", "version": 3, "id": session, "timestamp": clock.tick(), "cwd": cwd}) + "\n"
            size += len(line.encode())
            yield line
        while size < target:
            ts = clock.tick()
            r = rng.random()
            if r < 0.15:
                message = {"role": "user", "content": [{"type": "text", "text": v.paragraph()}], "timestamp": 0}
            elif r < 0.55:
                content = []
                if rng.random() < 0.5:
                    content.append({"type": "thinking", "thinking": v.paragraph()})
                content.append({"type": "text", "text": v.paragraph()})
                if rng.random() < 0.6:
                    content.append({"type": "toolCall", "id": "tc_%x" % rng.getrandbits(48), "name": "bash",
                                    "arguments": {"command": v.sentence()}})
                message = {"role": "assistant", "content": content, "provider": "anthropic", "model": "claude-opus-4",
                           "usage": {"input": rng.randint(1, 5000), "output": rng.randint(1, 900)}, "stopReason": "toolUse"}
            else:
                message = {"role": "toolResult", "toolCallId": "tc_%x" % rng.getrandbits(48), "toolName": "bash",
                           "content": [{"type": "text", "text": self.tool_output()}], "isError": False}
            line = dumps({"type": "message", "id": "%08x" % rng.getrandbits(32), "parentId": None,
                          "timestamp": ts, "message": message}) + "\n"
            size += len(line.encode())
            yield line


def parse_size(text):
    units = {"K": 1 << 10, "M": 1 << 20, "G": 1 << 30}
    text = text.strip().upper()
    if text[-1:] in units:
        return int(float(text[:-1]) * units[text[-1]])
    return int(text)


def encode_folder(path):
    return path.replace("/", "-")


def generate(args):
    rng = random.Random(args.seed)
    vocabulary = Vocabulary(rng)
    writer = Writer(rng, vocabulary, Bulk(rng, vocabulary))
    home = os.path.abspath(args.out)
    total = parse_size(args.size)
    written = 0
    for n in range(args.files):
        # Files vary widely in size; the mean follows what is left, so the total is met.
        mean = max(0, total - written) / (args.files - n)
        clock = Clock(rng)
        cwd = writer.project()
        session = uuid(rng)
        target = max(2000, int(rng.lognormvariate(0, 1.0) * mean / 1.65))
        r = rng.random()
        if r < 0.60:
            folder = os.path.join(home, ".claude/projects", encode_folder(cwd))
            if rng.random() < 0.15:  # a subagent transcript, deeper, not indexed
                sub = os.path.join(folder, session, "subagents")
                os.makedirs(sub, exist_ok=True)
                with open(os.path.join(sub, "agent-%08x.jsonl" % rng.getrandbits(32)), "w") as f:
                    for line in writer.claude_lines(session, cwd, clock, target // 4):
                        f.write(line)
                        written += len(line.encode())
            path = os.path.join(folder, session + ".jsonl")
            lines = writer.claude_lines(session, cwd, clock, target)
        elif r < 0.85:
            day = clock.now
            folder = os.path.join(home, ".codex/sessions", day.strftime("%Y/%m/%d"))
            path = os.path.join(folder, "rollout-%s-%s.jsonl" % (day.strftime("%Y-%m-%dT%H-%M-%S"), session))
            lines = writer.codex_lines(session, cwd, clock, target)
        else:
            agent = ".pi/agent/sessions" if r < 0.93 else ".zenith/agent/sessions"
            folder = os.path.join(home, agent, "--" + encode_folder(cwd.strip("/")) + "--")
            path = os.path.join(folder, "%s_%s.jsonl" % (clock.now.strftime("%Y-%m-%dT%H-%M-%S-000Z"), session))
            lines = writer.pi_lines(session, cwd, clock, target)
        os.makedirs(folder, exist_ok=True)
        with open(path, "w") as f:
            for line in lines:
                f.write(line)
                written += len(line.encode())
        if n % 250 == 0:
            print("%d files, %d MB" % (n, written >> 20), file=sys.stderr)
    print("%d files, %d MB" % (args.files, written >> 20), file=sys.stderr)


def transcripts(home):
    found = []
    for agent in (".claude/projects", ".codex/sessions", ".pi/agent/sessions", ".zenith/agent/sessions"):
        for root, _, names in os.walk(os.path.join(home, agent)):
            found.extend(os.path.join(root, name) for name in names if name.endswith(".jsonl"))
    return sorted(found)


def grow(args):
    rng = random.Random(args.seed)
    vocabulary = Vocabulary(rng)
    writer = Writer(rng, vocabulary, Bulk(rng, vocabulary))
    home = os.path.abspath(args.out)
    files = transcripts(home)
    chosen = rng.sample(files, max(1, round(len(files) * args.grow)))
    added = 0
    for path in chosen:
        clock = Clock(rng)
        session = os.path.basename(path)[:-len(".jsonl")]
        target = rng.randint(2000, 60000)
        if "/.claude/" in path:
            lines = writer.claude_lines(session, "/home/dev/src/grown", clock, target, with_meta=False)
        elif "/.codex/" in path:
            lines = writer.codex_lines(session, "/home/dev/src/grown", clock, target, with_meta=False)
        else:
            lines = writer.pi_lines(session, "/home/dev/src/grown", clock, target, with_meta=False)
        with open(path, "a") as f:
            for line in lines:
                f.write(line)
                added += len(line.encode())
    print("grew %d of %d files by %d KB" % (len(chosen), len(files), added >> 10), file=sys.stderr)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--out", required=True, help="the home folder to write into")
    parser.add_argument("--size", default="1G", help="total transcript bytes (K, M, G suffixes)")
    parser.add_argument("--files", type=int, default=5000, help="number of session files")
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--grow", type=float, help="append new lines to this share of the existing files")
    args = parser.parse_args()
    if args.grow is not None:
        grow(args)
    else:
        generate(args)


if __name__ == "__main__":
    main()
