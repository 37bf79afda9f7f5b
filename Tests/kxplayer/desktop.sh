#!/usr/bin/env bash
# Validates the desktop entry, the metadata and the icon of kxplayer, and that they agree with each other and with what
# the media controls are told.
set -euo pipefail
cd "$(dirname "$0")/../../Apps/kxplayer"
id=io.github.kxfw.kxplayer

faults=$(desktop-file-validate "desktop/$id.desktop" 2>&1 || true)
[ -z "$faults" ] || { echo "$faults" >&2; exit 1; }
appstreamcli validate --no-net --pedantic "desktop/$id.metainfo.xml"
grep -qx "Icon=$id" "desktop/$id.desktop"
grep -qx 'Exec=kxplayer %f' "desktop/$id.desktop"
python3 - "$id" <<'PYTHON'
import re, sys, xml.etree.ElementTree as tree
id = sys.argv[1]
icon = tree.parse(f'desktop/{id}.svg').getroot()
assert icon.tag.endswith('}svg') and icon.get('viewBox') == f"0 0 {icon.get('width')} {icon.get('height')}", 'icon'
assert icon.get('width') == icon.get('height'), 'the icon is square'
metadata = tree.parse(f'desktop/{id}.metainfo.xml').getroot()
assert metadata.findtext('id') == id and metadata.findtext('launchable') == f'{id}.desktop', 'metadata'
entry = dict(re.findall(r'^([A-Za-z]+)=(.*)$', open(f'desktop/{id}.desktop').read(), re.M))
assert entry['Name'] == metadata.findtext('name') and entry['Comment'] == metadata.findtext('summary'), 'texts'
source = open('MediaPlayerAdaptors.cpp').read()
assert set(re.findall(r'"(audio/[^"]+)"', source)) == set(entry['MimeType'].strip(';').split(';')), 'types of files'
assert f'"{id}"' in source, 'desktop entry of the media controls'
PYTHON
