"""Lets programs that know nothing of orvApp judge a mail with attachments.

Usage: judge_mail.py MAIL DIRECTORY [--more] [--replaced NAME]...

DIRECTORY holds the compressed files that the mail must carry, and nothing else. Python's email package reads the mail
under its strict policy and must find no defect; it, munpack and ripmime must each give back exactly these files, byte
for byte; and gzip must find each of them whole. Each NAME must have a part of text in its place that names it. With --more,
uudeview and Perl's MIME::Parser have to give them back too. Prints a line for each finding and exits 0 when all is well, else 1.
"""

import argparse
import email
import email.policy
import os
import subprocess
import sys
import tempfile


class Finding(Exception):
    pass


def files_in(directory):
    contents = {}
    for name in sorted(os.listdir(directory)):
        with open(os.path.join(directory, name), "rb") as file:
            contents[name] = file.read()
    return contents


def run(*command):
    try:
        result = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=120)
    except (OSError, subprocess.TimeoutExpired) as error:
        raise Finding(f"{command[0]}: {error}") from error
    if result.returncode != 0:
        raise Finding(f"{' '.join(command)} ended with {result.returncode}: {result.stdout.decode(errors='replace')}")


def compare(judge, found, expected):
    if sorted(found) != sorted(expected):
        raise Finding(f"{judge} found {sorted(found)}, not {sorted(expected)}")
    for name, content in expected.items():
        if found[name] != content:
            raise Finding(f"{judge}: {name} differs ({len(found[name])} bytes, not {len(content)})")
    print(f"{judge}: {len(expected)} attachments, each byte for byte")


def read_strictly(path):
    try:
        with open(path, "rb") as file:
            mail = email.message_from_binary_file(file, policy=email.policy.strict)
    except email.errors.MessageError as error:
        raise Finding(f"python: {error!r}") from error
    for part in mail.walk():
        defects = list(part.defects) + [d for value in part.values() for d in getattr(value, "defects", ())]
        if defects:
            raise Finding(f"python: {part.get_content_type()}: {defects}")
    return mail


def judge_by_python(path, expected, replaced):
    mail = read_strictly(path)
    parts = list(mail.iter_parts())
    if mail.get_content_type() != "multipart/mixed" or not parts or parts[0].get_content_type() != "text/plain":
        raise Finding("python: not a text with attachments")
    attachments = [part for part in parts if part.get_content_disposition() == "attachment"]
    compare("python", {part.get_filename(): part.get_payload(decode=True) for part in attachments}, expected)
    explanations = [part.get_payload() for part in parts[1:] if part.get_content_disposition() is None]
    if len(explanations) != len(replaced):
        raise Finding(f"python: {len(explanations)} explanations, not {len(replaced)}")
    for name, text in zip(replaced, explanations):
        if f"The attachment file:\n        {name}\n" not in text.replace("\r\n", "\n"):
            raise Finding(f"python: no explanation for {name}: {text!r}")


def judge_by_munpack(path, expected):
    with tempfile.TemporaryDirectory() as directory:
        run("munpack", "-q", "-f", "-C", directory, path)
        found = {name: content for name, content in files_in(directory).items() if not name.endswith(".desc")}
    compare("munpack", found, expected)


def judge_by_ripmime(path, expected):
    with tempfile.TemporaryDirectory() as directory:
        run("ripmime", "--no-nameless", "-i", path, "-d", directory)
        found = files_in(directory)
    compare("ripmime", found, expected)


def judge_by_uudeview(path, expected):
    with tempfile.TemporaryDirectory() as directory:
        run("uudeview", "-i", "-q", "-o", "-p", directory, path)
        found = files_in(directory)
    compare("uudeview", found, expected)


PERL_PARSER = """use MIME::Parser; my ($mail, $directory) = @ARGV;
my $parser = MIME::Parser->new; $parser->output_under($directory); $parser->output_to_core(1);
sub walk { my $part = shift; return map { walk($_) } $part->parts if $part->parts;
    my $name = $part->head->recommended_filename // return;
    open(my $file, ">:raw", "$directory/$name") or die $!; $part->bodyhandle->print($file); close $file; }
walk($parser->parse_open($mail));
for my $name (glob("$directory/msg-*")) { rmdir $name }
"""


def judge_by_perl(path, expected):
    with tempfile.TemporaryDirectory() as directory:
        run("perl", "-e", PERL_PARSER, path, directory)
        found = files_in(directory)
    compare("MIME::Parser", found, expected)


def judge_by_gzip(directory, expected):
    for name in expected:
        run("gzip", "-t", os.path.join(directory, name))
    print(f"gzip: {len(expected)} whole files")


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("mail")
    parser.add_argument("directory")
    parser.add_argument("--more", action="store_true")
    parser.add_argument("--replaced", action="append", default=[])
    arguments = parser.parse_args()
    mail = os.path.abspath(arguments.mail)
    expected = files_in(arguments.directory)
    try:
        judge_by_python(mail, expected, arguments.replaced)
        judge_by_munpack(mail, expected)
        judge_by_ripmime(mail, expected)
        if arguments.more:
            judge_by_uudeview(mail, expected)
            judge_by_perl(mail, expected)
        judge_by_gzip(arguments.directory, expected)
    except Finding as finding:
        print(finding)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
