#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Says what a release consists of, and what it needs, as SPDX 2.3 in JSON.

    sbom.py ARCHIVE VERSION TIME

ARCHIVE is the tar archive with all files below one folder, TIME that of the release in seconds
since 1970. The versions of what it needs are those of the Debian packages that are installed here.
"""

import datetime
import hashlib
import json
import re
import subprocess
import sys
import tarfile

#: What the libraries link, by the Debian packages that carry it.
NEEDED = ("libicu-dev", "libc6", "libstdc++6", "libgcc-s1")
LICENCE = re.compile(rb"SPDX-License-Identifier: ([\w.+-]+)")


def described_file(number, name, octets):
    """A file of the archive; its licence is the one that its first lines name."""
    found = LICENCE.search(octets[:1000])
    return {
        "SPDXID": f"SPDXRef-File-{number}",
        "fileName": "./" + name.partition("/")[2],
        "checksums": [
            {"algorithm": "SHA1", "checksumValue": hashlib.sha1(octets).hexdigest()},
            {"algorithm": "SHA256", "checksumValue": hashlib.sha256(octets).hexdigest()},
        ],
        "licenseConcluded": "NOASSERTION",
        "licenseInfoInFiles": [found[1].decode() if found else "NOASSERTION"],
        "copyrightText": "NOASSERTION",
    }


def described_files(archive):
    """All files of the archive, by name."""
    with tarfile.open(archive) as tar:
        members = sorted((member for member in tar if member.isfile()), key=lambda one: one.name)
        return [described_file(number, member.name, tar.extractfile(member).read())
                for number, member in enumerate(members, start=1)]


def verification_code(files):
    """SPDX 2.3, 7.9: SHA-1 over the sorted SHA-1 sums of the files."""
    sums = sorted(file["checksums"][0]["checksumValue"] for file in files)
    return hashlib.sha1("".join(sums).encode()).hexdigest()


def own_package(version, files):
    """The release itself."""
    return {
        "SPDXID": "SPDXRef-Package",
        "name": "vtinetlib",
        "versionInfo": version,
        "downloadLocation": "NOASSERTION",
        "filesAnalyzed": True,
        "packageVerificationCode": {"packageVerificationCodeValue": verification_code(files)},
        "licenseConcluded": "Apache-2.0",
        "licenseDeclared": "Apache-2.0",
        "copyrightText": "NOASSERTION",
    }


def needed_package(name):
    """A Debian package in the version that is installed."""
    version, architecture = subprocess.run(
        ["dpkg-query", "--show", "--showformat=${Version} ${Architecture}\n", name], check=True,
        capture_output=True, text=True).stdout.splitlines()[0].split()
    return {
        "SPDXID": "SPDXRef-Needed-" + re.sub(r"[^\w.-]|_", "-", name),
        "name": name,
        "versionInfo": version,
        "downloadLocation": "NOASSERTION",
        "filesAnalyzed": False,
        "licenseConcluded": "NOASSERTION",
        "licenseDeclared": "NOASSERTION",
        "copyrightText": "NOASSERTION",
        "externalRefs": [{
            "referenceCategory": "PACKAGE-MANAGER",
            "referenceType": "purl",
            "referenceLocator": "pkg:deb/debian/" + name.replace("+", "%2B") + "@"
                                + version.replace("+", "%2B").replace(":", "%3A")
                                + "?arch=" + architecture,
        }],
    }


def relations(needed, files):
    """Who describes, contains and needs whom."""
    own = "SPDXRef-Package"
    pairs = [("SPDXRef-DOCUMENT", "DESCRIBES", own)]
    pairs += [(own, "CONTAINS", file["SPDXID"]) for file in files]
    pairs += [(own, "DEPENDS_ON", package["SPDXID"]) for package in needed]
    return [{"spdxElementId": one, "relationshipType": relation, "relatedSpdxElement": other}
            for one, relation, other in pairs]


def document(archive, version, seconds):
    """The whole."""
    files = described_files(archive)
    own = own_package(version, files)
    needed = [needed_package(name) for name in NEEDED]
    code = own["packageVerificationCode"]["packageVerificationCodeValue"]
    created = datetime.datetime.fromtimestamp(seconds, datetime.timezone.utc)
    return {
        "spdxVersion": "SPDX-2.3",
        "dataLicense": "CC0-1.0",
        "SPDXID": "SPDXRef-DOCUMENT",
        "name": f"vtinetlib-{version}",
        "documentNamespace": f"https://vtinetlib.example/spdx/vtinetlib-{version}-{code}",
        "creationInfo": {"created": created.strftime("%Y-%m-%dT%H:%M:%SZ"),
                         "creators": ["Tool: vtinetlib-sbom.py"]},
        "packages": [own, *needed],
        "files": files,
        "relationships": relations(needed, files),
    }


def main():
    """Writes it to standard output."""
    if len(sys.argv) != 4:
        sys.exit(__doc__)
    archive, version, seconds = sys.argv[1:]
    json.dump(document(archive, version, int(seconds)), sys.stdout, indent=1)
    print()


if __name__ == "__main__":
    main()
