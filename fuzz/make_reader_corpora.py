#!/usr/bin/env python3
"""Writes the seed corpora of the fuzz targets for the readers other than property lists into
fuzz/corpus/<target>/ (make_corpus.py writes those of the property-list readers).

The seeds are real inputs: CSV files exported by `wendle export` from the scenarios in
tests/app/scenarios run through `wendle simulate`, the desktop entries of /usr/share/applications,
the scenarios themselves; and the forms each reader documents, hostile ones included. File names
tell the replay test what to expect: valid-* must be accepted, refused-* must be refused, damaged-*
only must not crash. Needs a built wendle:

    python3 fuzz/make_reader_corpora.py --wendle build/app/wendle
"""
import argparse, glob, os, shutil, subprocess, sys, tempfile

HERE = os.path.dirname(os.path.abspath(__file__))
ROOT = os.path.dirname(HERE)
CORPUS = os.path.join(HERE, 'corpus')


def write(target, name, data):
    folder = os.path.join(CORPUS, target)
    os.makedirs(folder, exist_ok=True)
    with open(os.path.join(folder, name), 'wb') as f:
        f.write(data if isinstance(data, bytes) else data.encode())


# ---- CSV snapshots: one byte (separator setting and number of parts), then the file.
def csv_control(setting, parts):
    return bytes([',;\t'.index(setting) + 3 * (parts - 2)])


def csv_seeds(wendle):
    exports = [
        ('default', []),
        ('all-columns-semicolon-crlf', ['--columns', 'pool,pool-notes,application,window,front,total',
                                        '--column-separator', 'semicolon', '--row-separator', 'crlf']),
        ('total-tab-cr', ['--columns', 'application,window,total', '--column-separator', 'tab',
                          '--row-separator', 'cr']),
    ]
    with tempfile.TemporaryDirectory() as tmp:
        env = dict(os.environ, XDG_DATA_HOME=os.path.join(tmp, 'data'), XDG_CONFIG_HOME=os.path.join(tmp, 'config'))
        record = os.path.join(tmp, 'data', 'Wendle', 'Configurations', 'Default.plist')
        os.makedirs(os.path.dirname(record))
        # Two heavy working days (bench/) beside the short stories: a CSV file of some size.
        heavy = os.path.join(tmp, 'heavy-two-days.json')
        subprocess.run([sys.executable, os.path.join(ROOT, 'bench', 'heavy_year_scenario.py'), '--days', '2',
                        '-o', heavy], check=True, stdout=subprocess.DEVNULL)
        stories = sorted(glob.glob(os.path.join(ROOT, 'tests', 'app', 'scenarios', '*.json'))) + [heavy]
        for scenario in stories:
            story = os.path.splitext(os.path.basename(scenario))[0]
            subprocess.run([wendle, 'simulate', scenario, '-o', record], env=env, check=True,
                           stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
            for k, (variant, options) in enumerate(exports):
                text = subprocess.run([wendle, 'export'] + options, env=env, check=True, capture_output=True).stdout
                setting = ',;\t'[k % 3]
                write('csv', f'valid-{story}-{variant}.csv', csv_control(setting, 2 + k) + text)
                if variant == 'all-columns-semicolon-crlf':
                    # The same file from a user whose numbers have decimal commas.
                    comma = text.replace(b'.00;', b',00;').replace(b'.00\r', b',00\r')
                    write('csv', f'valid-{story}-decimal-comma.csv', csv_control(';', 5) + comma)

    header = 'Pool,Application,Window,Foreground Begin (Unix Time),Foreground End (Unix Time)\n'
    placeholder = '[com.brasswing.VXReportSnapshotManager.QuotedStringPlaceholder]'
    hand = {
        'valid-spreadsheet-quoted-bom.csv': (',', 2, '\ufeff"Window","Comment","Application","Foreground End (Unix Time)",'
                                             '"Foreground Begin (Unix Time)"\r\n"Budget, 2026.ods","checked","Calc",'
                                             '"1,700,000,300.00","1,700,000,000.00"\r\n"","","Calc","1700000600.00",'
                                             '"1700000500.00"\r\n\r\n'),
        'valid-quoted-line-breaks.csv': (',', 3, header + 'Home,Editor,"two\nlines, ""quoted""",100.00,200.00\n'
                                         'Home,Editor,part "one," and "two",300.00,400.00\n,Editor,"\u2028",500.00,600.00\n'),
        'valid-unicode-line-ends.csv': (';', 4, 'Application;Total Begin (Unix Time);Total End (Unix Time)\u2028'
                                        'Mail;100.00;200.00\u2029Web;300.00;400.00\x0bChat;500.00;600.00\x85'),
        'valid-placeholder-text.csv': (',', 2, header + ',Mail,' + placeholder + ',100.00,200.00\n'
                                       ',"Web","Page",300.00,400.00\n'),
        'valid-window-without-application.csv': (',', 5, header + ',,Untitled,100.00,200.00\n,,,300.00,400.00\n'
                                                 'Home,,Untitled,500.00,600.00\n'),
        'valid-wrong-lines-and-grouping.csv': ('\t', 3, 'Application\tForeground Begin (Unix Time)\tForeground End (Unix Time)\n'
                                               'A\t1.5\t2.5\nbad\nB\t100.00\t200.00\nC\t300,00\t400,00\n'
                                               'D\t 1.700.000.000,75 \t1.700.000.100,00\n'),
        'refused-closing-quote-missing.csv': (',', 2, header + 'Home,Mail,"Inbox,1.00,2.00\n'),
        'refused-no-event-streams.csv': (',', 2, 'Application,Window\nMail,Inbox\n'),
        'refused-no-relevant-columns.csv': (',', 2, 'Pool Notes,Foreground Begin (Unix Time),Foreground End (Unix Time)\n'
                                            'x,1.00,2.00\n'),
        'refused-no-significant-time.csv': (',', 2, header + ',Mail,,1700000000.0000,1700000000.0005\n'),
        'refused-one-line.csv': (',', 2, header),
    }
    for name, (setting, parts, text) in hand.items():
        write('csv', name, csv_control(setting, parts) + text.encode())
    write('csv', 'refused-not-utf8.csv', csv_control(',', 2) + header.encode() + b',Caf\xe9,,1.00,2.00\n')


# ---- Desktop entries: the file.
def desktop_entry_seeds():
    for path in sorted(glob.glob('/usr/share/applications/*.desktop')):
        with open(path, 'rb') as f:
            data = f.read()
        if b'[Desktop Entry]' in data and len(data) <= 64 * 1024:
            write('desktop_entry', 'valid-' + os.path.basename(path), data)
    write('desktop_entry', 'valid-escapes-and-locales.desktop',
          '# comment\n[Other]\nName=not this\n  [Desktop Entry]  \nName = Mail\\sApp\\n\\t\\r\\\\\\q\nName=second\n'
          'Name[de]=Post\nName[pt_BR]=Correio\nName[sr@latin]=Pošta\nName[]=empty\nName[x=y\n'
          'StartupWMClass=mail-app\n=no key\nno equals\n[Desktop Action New]\nName=action\n')
    write('desktop_entry', 'valid-crlf-and-bad-utf8.desktop',
          b'[Desktop Entry]\r\nName=\xff\xfeBroken\xc3\r\nName[fr]=\xe9t\xe9\r\nStartupWMClass=\r\n')
    write('desktop_entry', 'refused-no-group.desktop', 'Name=Mail\nExec=mail\n')
    write('desktop_entry', 'refused-other-groups.desktop', '[Desktop Action New]\nName=Mail\n[Desktop Entry\n')


# ---- Scenarios of `wendle simulate`: the JSON text.
def scenario_seeds():
    for path in sorted(glob.glob(os.path.join(ROOT, 'tests', 'app', 'scenarios', '*.json'))):
        shutil.copyfile(path, os.path.join(CORPUS, 'scenario', 'valid-' + os.path.basename(path)))
    write('scenario', 'valid-every-field.json',
          '{"start": 1767254400.5, "end": 600, "defaults": {"Update Interval": 0.25, "Hibernation Interval": 300},'
          ' "configuration": {"Applications": {"Children": {}}, "Last Timestamp": 1767254000},'
          ' "desktop": [{"at": 0, "front": null, "applications": [{"name": "Editor", "identifier": "editor",'
          ' "path": null, "pid": 100, "regular": false}], "windows": [{"pid": 100, "title": "Report", "number": 7,'
          ' "layer": -3, "onScreen": false, "orderedIn": true}, {"pid": 100}]}, {"at": 0.125}],'
          ' "events": [{"at": 0, "type": "input"}, {"at": 0, "type": "setDefault", "key": "Update Interval",'
          ' "value": null}, {"at": 10, "type": "setDefault", "key": "Hibernation Interval", "value": 60},'
          ' {"at": 20, "type": "sleep"}, {"at": 30, "type": "wake"}, {"at": 40, "type": "undo"},'
          ' {"at": 600, "type": "forceTick"}]}')
    refused = {
        'not-json': '{"start": 0, "end": ',
        'not-an-object': '[1, 2]',
        'unknown-field': '{"start": 0, "end": 10, "colour": 1}',
        'off-grid': '{"start": 0, "end": 10, "events": [{"at": 0.1, "type": "input"}]}',
        'after-end': '{"start": 0, "end": 10, "desktop": [{"at": 20}]}',
        'states-out-of-order': '{"start": 0, "end": 10, "desktop": [{"at": 5}, {"at": 5}]}',
        'events-out-of-order': '{"start": 0, "end": 10, "events": [{"at": 5, "type": "input"}, {"at": 4, "type": "input"}]}',
        'unknown-event': '{"start": 0, "end": 10, "events": [{"at": 0, "type": "explode"}]}',
        'daily-tasks': '{"start": 0, "end": 10, "defaults": {"Auto-Export Reports": true}}',
        'unsettable-key': '{"start": 0, "end": 10, "events": [{"at": 0, "type": "setDefault", "key": "Nope", "value": 1}]}',
        'window-without-pid': '{"start": 0, "end": 10, "desktop": [{"at": 0, "windows": [{"title": "x"}]}]}',
        'huge-layer': '{"start": 0, "end": 10, "desktop": [{"at": 0, "windows": [{"pid": 1, "layer": 1e12}]}]}',
    }
    for name, text in refused.items():
        write('scenario', f'refused-{name}.json', text)


# ---- WHEN: the zone, the clock's Unix seconds, the text, one line each.
def when_seeds():
    valid = {
        'date': ('Europe/Berlin', 1774700000, '2026-11-20'),
        'date-time-in-gap': ('Europe/Berlin', 1774700000, '2026-03-29 02:30'),
        'date-t-seconds': ('Asia/Kolkata', 1774700000, '  2026-11-20T14:00:30  '),
        'now': ('UTC', 1700000000, 'NOW'),
        'today-midnight-gap': ('America/Sao_Paulo', 1541303000, 'today'),
        'yesterday-skipped-day': ('Pacific/Apia', 1325329200, 'yesterday'),
        'days-ago-across-change': ('America/New_York', 1710100000, '3 days ago'),
        'hours-ago-half-hour-zone': ('Australia/Lord_Howe', 1700000000, '2 hours ago'),
        'weeks-ago-far': ('Europe/London', 1700000000, '999999999 weeks ago'),
        'minute-ago': ('not/a zone', 1700000000, '1 minute ago'),
    }
    for name, (zone, now, text) in valid.items():
        write('when', f'valid-{name}.txt', f'{zone}\n{now}\n{text}')
    refused = {
        'tomorrow': ('UTC', 1700000000, 'tomorrow'),
        'no-such-date': ('UTC', 1700000000, '2026-02-30'),
        'no-such-time': ('UTC', 1700000000, '2026-02-03 25:00'),
        'too-many-digits': ('UTC', 1700000000, '1234567890 days ago'),
        'year-zero': ('UTC', 1700000000, '0000-01-01'),
    }
    for name, (zone, now, text) in refused.items():
        write('when', f'refused-{name}.txt', f'{zone}\n{now}\n{text}')


# ---- `defaults write` values: the arguments after KEY, separated by NUL bytes.
def defaults_seeds():
    valid = {
        'text': ['plain text'],
        'old-style-array': ['(0.2, 0.4, 0.6)'],
        'old-style-dictionary': ['{a = 1; b = (x, "y z", -2.5e3); c = <0a1b>; "d e" = {f = "\\U00e9\\n";};}'],
        'int': ['-int', ' 42'],
        'unsigned': ['-integer', '18446744073709551615'],
        'float': ['-float', '1e3'],
        'bool': ['-bool', 'YES'],
        'date-printed': ['-date', '2024-05-01 09:30:00 +0000'],
        'date-iso': ['-date', '2024-05-01T11:30:00.250+02:00'],
        'data': ['-data', '<0a 1b 2c>'],
        'array': ['-array', 'a', '-int', '3', '-date', '2024-05-01T09:30:00Z', '-data', 'ff'],
        'dict': ['-dict', 'k', 'v', 'n', '-float', '1.5', 'b', '-bool', 'no'],
        'string-flag': ['-string', '(not a list)'],
    }
    for name, arguments in valid.items():
        write('defaults', f'valid-{name}.args', '\0'.join(arguments))
    refused = {
        'not-an-int': ['-int', 'x'],
        'nested': ['-array', '-array'],
        'dict-without-value': ['-dict', 'k'],
        'unclosed': ['(a, b'],
        'two-values': ['a', 'b'],
        'odd-hex': ['-data', 'abc'],
        'bad-date': ['-date', '2024-13-01 09:30:00 +9999'],
        'flag-without-value': ['-array', 'a', '-int'],
    }
    for name, arguments in refused.items():
        write('defaults', f'refused-{name}.args', '\0'.join(arguments))


# ---- Single-instance requests: the line as the socket holds it.
def instance_request_seeds():
    write('instance_request', 'valid-open.line', 'open\t/home/someone/week.csv\t/home/someone/day.csv\n')
    write('instance_request', 'valid-open-escaped.line', 'open\t/home/someone/a\\tb\\nc\\rd\\\\e.csv\n')
    write('instance_request', 'valid-import.line', 'import\t/home/someone/record.plist\n')
    for word in ('report', 'status', 'configuration'):
        write('instance_request', f'valid-{word}.line', word + '\n')
    write('instance_request', 'refused-open-nothing.line', 'open\n')
    write('instance_request', 'refused-unknown-escape.line', 'open\t/home/someone/a\\x.csv\n')
    write('instance_request', 'refused-unknown.line', 'close\t/home/someone/week.csv\n')
    write('instance_request', 'refused-empty.line', '')


def main():
    parser = argparse.ArgumentParser(description=__doc__.split('\n')[0])
    parser.add_argument('--wendle', required=True, help='the built program, for simulate and export')
    args = parser.parse_args()
    for target in ('csv', 'desktop_entry', 'scenario', 'when', 'defaults', 'instance_request'):
        shutil.rmtree(os.path.join(CORPUS, target), ignore_errors=True)
        os.makedirs(os.path.join(CORPUS, target))
    csv_seeds(os.path.abspath(args.wendle))
    desktop_entry_seeds()
    scenario_seeds()
    when_seeds()
    defaults_seeds()
    instance_request_seeds()


if __name__ == '__main__':
    main()
