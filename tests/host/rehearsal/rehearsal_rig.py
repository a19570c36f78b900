"""What the tests of whole rehearsals stand on; their arguments are VOLAD_DEV MODULE [CLASS]."""

import json
import pathlib
import subprocess
import sys

import jsonschema
from tool_rig import VOLAD_DEV, ToolTest, volad_dev

MODULE = sys.argv[2]
SCHEMA = json.loads((pathlib.Path(__file__).parents[3] / "docs/schemas/run.schema.json").read_text())
JOB = 'echo done > "$VOLAD_SCRATCH/left"'


class Rehearsal(ToolTest):
    def setUp(self):
        super().setUp()
        self.settings = self.directory / "settings.json"
        self.write_job(JOB)

    def write(self, **settings):
        self.settings.write_text(json.dumps({"shutdownDelay": 0, "forceDelay": 0} | settings))

    def write_job(self, script: str, **job):
        path = self.directory / "job.sh"
        path.write_text(script if script.startswith("#!") else "#!/bin/sh\n" + script)
        path.chmod(0o755)
        self.write(job={"name": "{here}/job.sh"} | job)

    def command(self, *arguments: str, verb="rehearse") -> list[str]:
        return [VOLAD_DEV, verb, "--module", MODULE, "--settings", str(self.settings), *arguments]

    def run_tool(self, *arguments: str, verb="rehearse", **more) -> subprocess.CompletedProcess:
        return volad_dev(*self.command(*arguments, verb=verb)[1:], **more)

    def rehearse(self, *arguments: str, code=0, **more) -> tuple[dict, str]:
        """The run as JSON, and what was shown."""
        file = self.directory / "run.json"
        done = self.run_tool(*arguments, "--json", str(file), **more)
        self.assertEqual((done.stderr, done.returncode), ("", code), done.stdout)
        run = json.loads(file.read_text())
        jsonschema.validate(run, SCHEMA)
        return run, done.stdout

    def warnings(self, run: dict) -> set[str]:
        return {warning["code"] for warning in run["warnings"]} - {"gate-missing-here", "power-command-missing"}
