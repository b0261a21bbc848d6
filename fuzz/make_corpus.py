#!/usr/bin/env python3
"""Writes the seed corpora of the property-list fuzz targets into fuzz/corpus/<reader>/.

File names tell the replay test what to expect: valid-* must be read, refused-* must be refused,
damaged-* may go either way (but must not crash). Needs plistlib and libplist's plistutil.
"""
import plistlib, datetime, struct, subprocess, os
C=os.path.join(os.path.dirname(os.path.abspath(__file__)), 'corpus')
def w(path, data):
    with open(os.path.join(C, path), 'wb') as f: f.write(data)

small = {
    'Name': 'Mail', 'Path': '/usr/share/applications/org.example.Mail.desktop',
    'Unicode': 'Résumé — 日本語 🙂', 'Empty': '',
    'Integers': [0, 1, -1, 255, 256, 65535, 65536, 2**31, -2**31, 2**63 - 1, -2**63, 2**64 - 1],
    'Reals': [0.0, -0.0, 1.5, -1672531200.125, 1e-300, 1.7976931348623157e308, float('inf'), float('-inf')],
    'Booleans': [True, False], 'Date': datetime.datetime(2023, 1, 1, 12, 30, 15),
    'Data': bytes(range(40)), 'Nested': {'Active Log': [1672531200.5, -1672531260.25, 1672531300.0], 'Children': []},
    'Front Active': True,
}
shared_window = {'Name': 'Report 1.odt', 'Path': '_Window', 'PID': 4242, 'Window Number': 31457287,
                 'Active Log': [1672531200.5, -1672531800.0]}
shared = {'Applications': {'org.example.Text': {'Name': 'Text', 'Windows By Name': {'Report 1.odt': shared_window},
                                                 'Children': [shared_window]}},
          'Last Timestamp': 1672531800.0}
deep = []
cur = deep
for _ in range(100):
    n = []
    cur.append(n)
    cur = n

for name, value in [('small', small), ('shared', shared), ('deep100', deep), ('root-string', 'just a string'),
                    ('empty-dict', {}), ('root-array', [1, 'two', 3.0, {'four': [5]}])]:
    xml_value = value
    if name == 'small':   # XML has no infinities in plistlib's writer
        xml_value = dict(small, Reals=[r for r in small['Reals'] if r not in (float('inf'), float('-inf'))])
    w(f'binary/valid-{name}.bplist', plistlib.dumps(value, fmt=plistlib.FMT_BINARY, sort_keys=True))
    w(f'xml/valid-{name}.xml', plistlib.dumps(xml_value, fmt=plistlib.FMT_XML))

# Through libplist too.
src = os.path.join(C, 'xml/valid-shared.xml')
subprocess.run(['plistutil', '-i', src, '-o', os.path.join(C, 'binary/valid-plistutil-shared.bplist'), '-f', 'bin'], check=True)
subprocess.run(['plistutil', '-i', os.path.join(C, 'binary/valid-small.bplist'), '-o', os.path.join(C, 'xml/valid-plistutil-small.xml'), '-f', 'xml'], check=True)

good = plistlib.dumps(small, fmt=plistlib.FMT_BINARY)
w('binary/refused-truncated.bplist', good[:len(good) * 2 // 3])
w('binary/refused-no-trailer.bplist', good[:-32])
# Trailer whose offset table lies beyond the end of the file.
bad = bytearray(good); bad[-8:] = struct.pack('>Q', len(good) * 4); w('binary/refused-offset-table-outside.bplist', bytes(bad))
# Top object index out of range.
bad = bytearray(good); bad[-16:-8] = struct.pack('>Q', 1 << 40); w('binary/refused-top-object.bplist', bytes(bad))
# Object count larger than the file could hold.
bad = bytearray(good); bad[-24:-16] = struct.pack('>Q', 1 << 60); w('binary/refused-object-count.bplist', bytes(bad))
# Flipped bytes in the middle of the objects.
bad = bytearray(good)
for i in range(10, len(good) - 40, 37): bad[i] ^= 0x5A
w('binary/damaged-flipped.bplist', bytes(bad))

def bplist(objects, top=0):
    """Assembles a binary property list from encoded objects (1-byte refs and offsets)."""
    body = b'bplist00'
    offsets = []
    for o in objects:
        offsets.append(len(body)); body += o
    table = len(body)
    size = 1 if table < 256 else 2
    for off in offsets: body += off.to_bytes(size, 'big')
    body += bytes(6) + bytes([size, 1]) + struct.pack('>QQQ', len(objects), top, table)
    return body
# An array that contains itself, and two arrays containing each other.
w('binary/refused-self-reference.bplist', bplist([bytes([0xA1, 0])]))
w('binary/refused-mutual-reference.bplist', bplist([bytes([0xA1, 1]), bytes([0xA1, 0])]))
# A dictionary whose key is an integer; an object with an unknown marker; a string whose length runs past the end.
w('binary/damaged-integer-key.bplist', bplist([bytes([0xD1, 1, 2]), bytes([0x10, 7]), bytes([0x51, 0x61])]))
w('binary/refused-unknown-marker.bplist', bplist([bytes([0xA1, 1]), bytes([0x90])]))
w('binary/refused-long-string.bplist', bplist([bytes([0x5F, 0x13, 0x7F, 0xFF, 0xFF, 0xFF, 0x61])]))
# Nesting deeper than any reader accepts: 600 arrays, each holding the next.
def bplist2(objects):
    body = b'bplist00'; offsets = []
    for o in objects: offsets.append(len(body)); body += o
    table = len(body)
    for off in offsets: body += off.to_bytes(2, 'big')
    body += bytes(6) + bytes([2, 2]) + struct.pack('>QQQ', len(objects), 0, table)
    return body
w('binary/refused-too-deep.bplist', bplist2([bytes([0xA1, (i + 1) >> 8, (i + 1) & 255]) for i in range(599)] + [bytes([0xA0])]))

# XML, by hand.
head = b'<?xml version="1.0" encoding="UTF-8"?>\n<!DOCTYPE plist PUBLIC "-//Apple//DTD PLIST 1.0//EN" "http://www.apple.com/DTDs/PropertyList-1.0.dtd">\n'
w('xml/valid-hand.xml', head + b'''<plist version="1.0">
<!-- a comment -->
<dict>
\t<key>Name</key><string>Tom &amp; Jerry &lt;&gt; &#x263A; &#65;</string>
\t<key>CDATA</key><string><![CDATA[<not a tag> & raw]]></string>
\t<key>Empty</key><string/>
\t<key>Numbers</key><array><integer>-42</integer><integer>0x10</integer><real>3.25</real><real>-1e3</real><true/><false/></array>
\t<key>When</key><date>2023-06-01T08:15:00Z</date>
\t<key>Bytes</key><data>
\tAAECAwQF
\tBgcI
\t</data>
\t<key>Nothing</key><dict/>
</dict>
</plist>
''')
xml_good = plistlib.dumps(small | {'Reals': [1.5]}, fmt=plistlib.FMT_XML)
w('xml/refused-truncated.xml', xml_good[:len(xml_good) // 2])
w('xml/refused-unclosed.xml', head + b'<plist version="1.0"><dict><key>a</key><string>b</dict></plist>')
w('xml/refused-key-without-value.xml', head + b'<plist version="1.0"><dict><key>a</key></dict></plist>')
w('xml/damaged-bad-entity.xml', head + b'<plist version="1.0"><string>&bogus; &#xFFFFFFFF;</string></plist>')
w('xml/damaged-bad-base64.xml', head + b'<plist version="1.0"><data>@@@=</data></plist>')
w('xml/damaged-bad-date.xml', head + b'<plist version="1.0"><date>2023-13-45T99:00:00Z</date></plist>')
w('xml/damaged-bad-integer.xml', head + b'<plist version="1.0"><integer>99999999999999999999999</integer></plist>')
w('xml/refused-too-deep.xml', head + b'<plist version="1.0">' + b'<array>' * 600 + b'</array>' * 600 + b'</plist>')
w('xml/damaged-two-roots.xml', head + b'<plist version="1.0"><true/><false/></plist>')

# Old-style text, by hand.
w('openstep/valid-dict.plist', '''// Wendle settings, written by hand
{
    Name = "Mail";
    "Quoted key" = "Tab\\tNew line\\nQuote\\" Backslash\\\\ Octal\\101 Unicode\\U00e9";
    Unquoted = some_word.with-dots/and:colons;
    Times = (1672531200.5, "-1672531260.25", 3);
    Bytes = <0fbd77 1f 2A>;
    Nested = { Inner = (); Empty = {}; }; /* a block comment */
    Unicode = "Résumé — 日本語";
}
'''.encode('utf-8'))
w('openstep/valid-array.plist', b'( one, "two", <>, ( three ), { four = 4; } )')
w('openstep/valid-string.plist', b'"just a string"')
w('openstep/refused-unterminated-string.plist', b'{ a = "open; }')
w('openstep/refused-missing-semicolon.plist', b'{ a = b c = d; }')
w('openstep/refused-odd-data.plist', b'{ a = <0fb>; }')
w('openstep/refused-unterminated-comment.plist', b'{ a = b; /* never closed }')
w('openstep/refused-too-deep.plist', b'(' * 600 + b')' * 600)
w('openstep/damaged-trailing-garbage.plist', b'{ a = b; } }')
