#!/usr/bin/env bash
# Validates the desktop entry, the metadata and the icon of kxplayer, and that they agree with each other and with the
# formats that the library knows.   Usage: desktop.sh KXTOOL
set -euo pipefail
cd "$(dirname "$0")/../../Apps/kxplayer"
id=io.github.kxfw.kxplayer
formats=$("$1" formats)

faults=$(desktop-file-validate "desktop/$id.desktop" 2>&1 || true)
[ -z "$faults" ] || { echo "$faults" >&2; exit 1; }
appstreamcli validate --no-net --pedantic "desktop/$id.metainfo.xml"
grep -qx "Icon=$id" "desktop/$id.desktop"
grep -qx 'Exec=kxplayer %f' "desktop/$id.desktop"
python3 - "$id" "$formats" <<'PYTHON'
import re, sys, xml.etree.ElementTree as tree
id = sys.argv[1]
icon = tree.parse(f'desktop/{id}.svg').getroot()
assert icon.tag.endswith('}svg') and icon.get('viewBox') == f"0 0 {icon.get('width')} {icon.get('height')}", 'icon'
assert icon.get('width') == icon.get('height'), 'the icon is square'
metadata = tree.parse(f'desktop/{id}.metainfo.xml').getroot()
assert metadata.findtext('id') == id and metadata.findtext('launchable') == f'{id}.desktop', 'metadata'
entry = dict(re.findall(r'^([A-Za-z]+)=(.*)$', open(f'desktop/{id}.desktop').read(), re.M))
assert entry['Name'] == metadata.findtext('name') and entry['Comment'] == metadata.findtext('summary'), 'texts'
assert f'"{id}"' in open('MediaPlayerAdaptors.cpp').read(), 'desktop entry of the media controls'
# The formats that are known: their names and types are those of the files.
formats = [line.split('\t') for line in sys.argv[2].splitlines()]
types = [type for format in formats for type in format[2].split()]
assert types and types == entry['MimeType'].strip(';').split(';'), 'types in the desktop entry'
assert types == [type.text for type in metadata.iter('mediatype')], 'types in the metadata'
named = re.search(r'<li>(.*) files</li>', open(f'desktop/{id}.metainfo.xml').read()).group(1)
assert [format[0] for format in formats] == re.split(', | and ', named), 'formats in the metadata'
PYTHON
