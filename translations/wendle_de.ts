<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="de_DE">
<context>
    <name>Notes</name>
    <message>
        <source>Pool Notes</source>
        <translation>Pool-Notizen</translation>
    </message>
    <message>
        <source>Notes</source>
        <translation>Notizen</translation>
    </message>
</context>
<context>
    <name>Preferences</name>
    <message>
        <source>Preferences</source>
        <translation>Einstellungen</translation>
    </message>
    <message>
        <source>General</source>
        <translation>Allgemein</translation>
    </message>
    <message>
        <source>Show Wendle in the &amp;tray instead of windows</source>
        <translation>Wendle im &amp;Infobereich statt in Fenstern zeigen</translation>
    </message>
    <message>
        <source>Tray &amp;icon:</source>
        <translation>&amp;Symbol im Infobereich:</translation>
    </message>
    <message>
        <source>11</source>
        <translation>11</translation>
    </message>
    <message>
        <source>12</source>
        <translation>12</translation>
    </message>
    <message>
        <source>10</source>
        <translation>10</translation>
    </message>
    <message>
        <source>1</source>
        <translation>1</translation>
    </message>
    <message>
        <source>0</source>
        <translation>0</translation>
    </message>
    <message>
        <source>Clock</source>
        <translation>Uhr</translation>
    </message>
    <message>
        <source>Clock with report</source>
        <translation>Uhr mit Bericht</translation>
    </message>
    <message>
        <source>Clock, report while reporting</source>
        <translation>Uhr, bei laufendem Bericht der Bericht</translation>
    </message>
    <message>
        <source>Wendle icon</source>
        <translation>Wendle-Symbol</translation>
    </message>
    <message>
        <source>Wendle icon, report while reporting</source>
        <translation>Wendle-Symbol, bei laufendem Bericht der Bericht</translation>
    </message>
    <message>
        <source>Show &amp;applications that are not running</source>
        <translation>&amp;Programme zeigen, die nicht laufen</translation>
    </message>
    <message>
        <source>Show &amp;pools without current activity</source>
        <translation>P&amp;ools ohne aktuelle Aktivität zeigen</translation>
    </message>
    <message>
        <source>Reset application timers every &amp;day</source>
        <translation>Programmzeiten jeden &amp;Tag zurücksetzen</translation>
    </message>
    <message>
        <source>Reset pool timers every da&amp;y</source>
        <translation>Poolzeiten jeden Ta&amp;g zurücksetzen</translation>
    </message>
    <message>
        <source>&amp;Suspend timers after:</source>
        <translation>Zeitmessung anhalten &amp;nach:</translation>
    </message>
    <message>
        <source>60</source>
        <translation>60</translation>
    </message>
    <message>
        <source>120</source>
        <translation>120</translation>
    </message>
    <message>
        <source>300</source>
        <translation>300</translation>
    </message>
    <message>
        <source>600</source>
        <translation>600</translation>
    </message>
    <message>
        <source>900</source>
        <translation>900</translation>
    </message>
    <message>
        <source>1800</source>
        <translation>1800</translation>
    </message>
    <message>
        <source>3600</source>
        <translation>3600</translation>
    </message>
    <message>
        <source>7200</source>
        <translation>7200</translation>
    </message>
    <message>
        <source>1 minute</source>
        <translation>1 Minute</translation>
    </message>
    <message>
        <source>2 minutes</source>
        <translation>2 Minuten</translation>
    </message>
    <message>
        <source>5 minutes</source>
        <translation>5 Minuten</translation>
    </message>
    <message>
        <source>10 minutes</source>
        <translation>10 Minuten</translation>
    </message>
    <message>
        <source>15 minutes</source>
        <translation>15 Minuten</translation>
    </message>
    <message>
        <source>30 minutes</source>
        <translation>30 Minuten</translation>
    </message>
    <message>
        <source>1 hour</source>
        <translation>1 Stunde</translation>
    </message>
    <message>
        <source>2 hours</source>
        <translation>2 Stunden</translation>
    </message>
    <message>
        <source>Count a &amp;locked screen as time away</source>
        <translation>Gesperrten &amp;Bildschirm als Abwesenheit zählen</translation>
    </message>
    <message>
        <source>&amp;Check every:</source>
        <translation>Prüfen &amp;alle:</translation>
    </message>
    <message>
        <source>Blacklist</source>
        <translation>Sperrliste</translation>
    </message>
    <message>
        <source>Wendle never tracks what these lists name: one name per line, * matches any text, a leading ! keeps what matches. A window line may name its application first: Firefox ▸ *private*.</source>
        <translation>Wendle erfasst nie, was diese Listen nennen: ein Name pro Zeile, * passt auf beliebigen Text, ein ! am Zeilenanfang nimmt das Passende wieder aus. Eine Fensterzeile kann zuerst ihr Programm nennen: Firefox ▸ *private*.</translation>
    </message>
    <message>
        <source>&amp;Applications:</source>
        <translation>&amp;Programme:</translation>
    </message>
    <message>
        <source>&amp;Windows:</source>
        <translation>&amp;Fenster:</translation>
    </message>
    <message>
        <source>Report</source>
        <translation>Bericht</translation>
    </message>
    <message>
        <source>Include &amp;applications</source>
        <translation>&amp;Programme einbeziehen</translation>
    </message>
    <message>
        <source>Include &amp;pools</source>
        <translation>P&amp;ools einbeziehen</translation>
    </message>
    <message>
        <source>&amp;Show:</source>
        <translation>&amp;Anzeigen:</translation>
    </message>
    <message>
        <source>2</source>
        <translation>2</translation>
    </message>
    <message>
        <source>Items shown in the organizer</source>
        <translation>Im Organizer gezeigte Einträge</translation>
    </message>
    <message>
        <source>All items</source>
        <translation>Alle Einträge</translation>
    </message>
    <message>
        <source>Items with activity in the range</source>
        <translation>Einträge mit Aktivität im Zeitraum</translation>
    </message>
    <message>
        <source>Show the report in the &amp;taskbar icon</source>
        <translation>Bericht im &amp;Taskleistensymbol zeigen</translation>
    </message>
    <message>
        <source>Show the report on the &amp;desktop</source>
        <translation>Bericht auf dem &amp;Desktop zeigen</translation>
    </message>
    <message>
        <source>&amp;Opacity:</source>
        <translation>De&amp;ckkraft:</translation>
    </message>
    <message>
        <source>Show the time under the &amp;mouse pointer</source>
        <translation>Zeit unter dem &amp;Mauszeiger zeigen</translation>
    </message>
    <message>
        <source>Export</source>
        <translation>Export</translation>
    </message>
    <message>
        <source>Columns:</source>
        <translation>Spalten:</translation>
    </message>
    <message>
        <source>&amp;Pool</source>
        <translation>&amp;Pool</translation>
    </message>
    <message>
        <source>Pool &amp;notes</source>
        <translation>Pool-&amp;Notizen</translation>
    </message>
    <message>
        <source>&amp;Application</source>
        <translation>Progr&amp;amm</translation>
    </message>
    <message>
        <source>&amp;Window</source>
        <translation>&amp;Fenster</translation>
    </message>
    <message>
        <source>&amp;Foreground time</source>
        <translation>&amp;Vordergrundzeit</translation>
    </message>
    <message>
        <source>&amp;Total time</source>
        <translation>&amp;Gesamtzeit</translation>
    </message>
    <message>
        <source>&amp;Export:</source>
        <translation>&amp;Exportieren:</translation>
    </message>
    <message>
        <source>Only items shown in the organizer</source>
        <translation>Nur im Organizer gezeigte Einträge</translation>
    </message>
    <message>
        <source>&amp;Column separator:</source>
        <translation>&amp;Spaltentrennzeichen:</translation>
    </message>
    <message>
        <source>Comma</source>
        <translation>Komma</translation>
    </message>
    <message>
        <source>Semicolon</source>
        <translation>Semikolon</translation>
    </message>
    <message>
        <source>Tab</source>
        <translation>Tabulator</translation>
    </message>
    <message>
        <source>&amp;Line ending:</source>
        <translation>&amp;Zeilenende:</translation>
    </message>
    <message>
        <source>LF (Linux, macOS)</source>
        <translation>LF (Linux, macOS)</translation>
    </message>
    <message>
        <source>CR</source>
        <translation>CR</translation>
    </message>
    <message>
        <source>CR LF (Windows)</source>
        <translation>CR LF (Windows)</translation>
    </message>
    <message>
        <source>Export a report every &amp;day</source>
        <translation>Jeden &amp;Tag einen Bericht exportieren</translation>
    </message>
    <message>
        <source>At &amp;hour:</source>
        <translation>&amp;Uhrzeit:</translation>
    </message>
    <message>
        <source>3</source>
        <translation>3</translation>
    </message>
    <message>
        <source>4</source>
        <translation>4</translation>
    </message>
    <message>
        <source>5</source>
        <translation>5</translation>
    </message>
    <message>
        <source>6</source>
        <translation>6</translation>
    </message>
    <message>
        <source>7</source>
        <translation>7</translation>
    </message>
    <message>
        <source>8</source>
        <translation>8</translation>
    </message>
    <message>
        <source>9</source>
        <translation>9</translation>
    </message>
    <message>
        <source>13</source>
        <translation>13</translation>
    </message>
    <message>
        <source>14</source>
        <translation>14</translation>
    </message>
    <message>
        <source>15</source>
        <translation>15</translation>
    </message>
    <message>
        <source>16</source>
        <translation>16</translation>
    </message>
    <message>
        <source>17</source>
        <translation>17</translation>
    </message>
    <message>
        <source>18</source>
        <translation>18</translation>
    </message>
    <message>
        <source>19</source>
        <translation>19</translation>
    </message>
    <message>
        <source>20</source>
        <translation>20</translation>
    </message>
    <message>
        <source>21</source>
        <translation>21</translation>
    </message>
    <message>
        <source>22</source>
        <translation>22</translation>
    </message>
    <message>
        <source>23</source>
        <translation>23</translation>
    </message>
    <message>
        <source>00:00</source>
        <translation>00:00</translation>
    </message>
    <message>
        <source>01:00</source>
        <translation>01:00</translation>
    </message>
    <message>
        <source>02:00</source>
        <translation>02:00</translation>
    </message>
    <message>
        <source>03:00</source>
        <translation>03:00</translation>
    </message>
    <message>
        <source>04:00</source>
        <translation>04:00</translation>
    </message>
    <message>
        <source>05:00</source>
        <translation>05:00</translation>
    </message>
    <message>
        <source>06:00</source>
        <translation>06:00</translation>
    </message>
    <message>
        <source>07:00</source>
        <translation>07:00</translation>
    </message>
    <message>
        <source>08:00</source>
        <translation>08:00</translation>
    </message>
    <message>
        <source>09:00</source>
        <translation>09:00</translation>
    </message>
    <message>
        <source>10:00</source>
        <translation>10:00</translation>
    </message>
    <message>
        <source>11:00</source>
        <translation>11:00</translation>
    </message>
    <message>
        <source>12:00</source>
        <translation>12:00</translation>
    </message>
    <message>
        <source>13:00</source>
        <translation>13:00</translation>
    </message>
    <message>
        <source>14:00</source>
        <translation>14:00</translation>
    </message>
    <message>
        <source>15:00</source>
        <translation>15:00</translation>
    </message>
    <message>
        <source>16:00</source>
        <translation>16:00</translation>
    </message>
    <message>
        <source>17:00</source>
        <translation>17:00</translation>
    </message>
    <message>
        <source>18:00</source>
        <translation>18:00</translation>
    </message>
    <message>
        <source>19:00</source>
        <translation>19:00</translation>
    </message>
    <message>
        <source>20:00</source>
        <translation>20:00</translation>
    </message>
    <message>
        <source>21:00</source>
        <translation>21:00</translation>
    </message>
    <message>
        <source>22:00</source>
        <translation>22:00</translation>
    </message>
    <message>
        <source>23:00</source>
        <translation>23:00</translation>
    </message>
    <message>
        <source>&amp;Range:</source>
        <translation>Zeit&amp;raum:</translation>
    </message>
    <message>
        <source>Everything</source>
        <translation>Alles</translation>
    </message>
    <message>
        <source>Only what is new since the last export</source>
        <translation>Nur, was seit dem letzten Export neu ist</translation>
    </message>
    <message>
        <source>F&amp;older:</source>
        <translation>&amp;Ordner:</translation>
    </message>
</context>
<context>
    <name>Report</name>
    <message>
        <source>Activity Report</source>
        <translation>Aktivitätsbericht</translation>
    </message>
    <message>
        <source>Activity report</source>
        <translation>Aktivitätsbericht</translation>
    </message>
    <message>
        <source>From</source>
        <translation>Von</translation>
    </message>
    <message>
        <source>To</source>
        <translation>Bis</translation>
    </message>
</context>
<context>
    <name>StatusItem</name>
    <message>
        <source>Wendle</source>
        <translation>Wendle</translation>
    </message>
    <message>
        <source>Organizer</source>
        <translation>Organizer</translation>
    </message>
    <message>
        <source>Activity Report</source>
        <translation>Aktivitätsbericht</translation>
    </message>
    <message>
        <source>Actions</source>
        <translation>Aktionen</translation>
    </message>
</context>
<context>
    <name>VXAboutDialog</name>
    <message>
        <source>About Wendle</source>
        <translation>Über Wendle</translation>
    </message>
    <message>
        <source>Wendle keeps track of the time you spend in each application and window, on its own.</source>
        <translation>Wendle erfasst selbstständig, wie viel Zeit Sie in jedem Programm und jedem Fenster verbringen.</translation>
    </message>
    <message>
        <source>Version %1</source>
        <translation>Version %1</translation>
    </message>
    <message>
        <source>Your record: %1</source>
        <translation>Ihre Aufzeichnung: %1</translation>
    </message>
    <message>
        <source>Your settings: %1</source>
        <translation>Ihre Einstellungen: %1</translation>
    </message>
    <message>
        <source>Free software under the GNU General Public License, version 3 or later. It comes with no warranty.</source>
        <translation>Freie Software unter der GNU General Public License, Version 3 oder später. Es gibt keinerlei Gewährleistung.</translation>
    </message>
</context>
<context>
    <name>VXActivitySampler</name>
    <message>
        <source>1 second</source>
        <translation>1 Sekunde</translation>
    </message>
    <message>
        <source>%1 seconds</source>
        <translation>%1 Sekunden</translation>
    </message>
</context>
<context>
    <name>VXApplicationShell</name>
    <message>
        <source>CSV files (*.%1)</source>
        <translation>CSV-Dateien (*.%1)</translation>
    </message>
</context>
<context>
    <name>VXCommandLine</name>
    <message>
        <source>unknown command &apos;%1&apos;</source>
        <translation>unbekannter Befehl „%1“</translation>
    </message>
    <message>
        <source>unknown command &apos;%1&apos; — did you mean &apos;%2&apos;?</source>
        <translation>unbekannter Befehl „%1“ – meinten Sie „%2“?</translation>
    </message>
    <message>
        <source>cannot open &lt;%1&gt;: there is no such file</source>
        <translation>&lt;%1&gt; kann nicht geöffnet werden: Diese Datei gibt es nicht</translation>
    </message>
    <message>
        <source>&apos;%1&apos; is not a command, an option or a CSV file</source>
        <translation>„%1“ ist weder ein Befehl noch eine Option noch eine CSV-Datei</translation>
    </message>
    <message>
        <source>&lt;%1&gt; is a folder; a report opens from a CSV file</source>
        <translation>&lt;%1&gt; ist ein Ordner; ein Bericht wird aus einer CSV-Datei geöffnet</translation>
    </message>
    <message>
        <source>cannot open &lt;%1&gt;: %2</source>
        <translation>&lt;%1&gt; kann nicht geöffnet werden: %2</translation>
    </message>
    <message>
        <source>Run &apos;wendle --help&apos; for the commands and options.</source>
        <translation>„wendle --help“ zeigt die Befehle und Optionen.</translation>
    </message>
    <message>
        <source>CSV files to open as reports.</source>
        <translation>CSV-Dateien, die als Berichte geöffnet werden.</translation>
    </message>
    <message>
        <source>Open the live activity report.</source>
        <translation>Den Live-Aktivitätsbericht öffnen.</translation>
    </message>
    <message>
        <source>Commands show the program&apos;s log lines too.</source>
        <translation>Befehle zeigen auch die Protokollzeilen des Programms.</translation>
    </message>
    <message>
        <source>Wendle tracks how long each application and window is in front and open.

Commands:
  defaults read|write|delete ...   read and change settings (wendle defaults --help)
  export [--from WHEN] [--to WHEN] [-o FILE]
                                   the tracked periods as CSV (wendle export --help)
  summary [--from WHEN] [--to WHEN]
                                   time per application, window and pool (wendle summary --help)
  config show | import FILE        the saved record as XML, or replace it (wendle config --help)
  status                           what the running Wendle sees now
  simulate SCENARIO.json -o OUT.plist
                                   run a scripted day in virtual time (wendle simulate --help)
  help                             this help

Commands answer from the running Wendle when there is one, so they show the day up to now;
otherwise from the record it saved. They print their own messages; add --verbose to see the
program&apos;s log lines as well.

Without a command, Wendle starts tracking (once per user: a second start hands its files,
--report and --help-page to the first and exits). It saves its record on quit, on SIGTERM,
SIGINT and SIGHUP.</source>
        <translation>Wendle erfasst, wie lange jedes Programm und jedes Fenster vorne und geöffnet ist.

Befehle:
  defaults read|write|delete ...   Einstellungen lesen und ändern (wendle defaults --help)
  export [--from WANN] [--to WANN] [-o DATEI]
                                   die erfassten Zeiträume als CSV (wendle export --help)
  summary [--from WANN] [--to WANN]
                                   Zeit je Programm, Fenster und Pool (wendle summary --help)
  config show | import DATEI       die gespeicherte Aufzeichnung als XML, oder sie ersetzen (wendle config --help)
  status                           was das laufende Wendle gerade sieht
  simulate SZENARIO.json -o AUS.plist
                                   einen geskripteten Tag in virtueller Zeit ablaufen lassen (wendle simulate --help)
  help                             diese Hilfe

Befehle antworten vom laufenden Wendle, wenn es eines gibt, und zeigen so den Tag bis jetzt;
sonst aus der Aufzeichnung, die es gespeichert hat. Sie geben ihre eigenen Meldungen aus; mit
--verbose erscheinen auch die Protokollzeilen des Programms.

Ohne Befehl beginnt Wendle mit der Erfassung (einmal je Benutzer: ein zweiter Start übergibt
seine Dateien, --report und --help-page an den ersten und endet). Es speichert seine
Aufzeichnung beim Beenden und bei SIGTERM, SIGINT und SIGHUP.</translation>
    </message>
    <message>
        <source>Open the help window at PAGE (%1), or at the first page without one.</source>
        <translation>Das Hilfefenster bei der Seite PAGE öffnen (%1), ohne sie bei der ersten Seite.</translation>
    </message>
    <message>
        <source>there is no help page &apos;%1&apos; (the pages: %2)</source>
        <translation>es gibt keine Hilfeseite „%1“ (die Seiten: %2)</translation>
    </message>
</context>
<context>
    <name>VXConfigCommand</name>
    <message>
        <source>a boolean</source>
        <translation>ein Wahrheitswert</translation>
    </message>
    <message>
        <source>an integer</source>
        <translation>eine ganze Zahl</translation>
    </message>
    <message>
        <source>a real number</source>
        <translation>eine Gleitkommazahl</translation>
    </message>
    <message>
        <source>a date</source>
        <translation>ein Datum</translation>
    </message>
    <message>
        <source>a string</source>
        <translation>ein Text</translation>
    </message>
    <message>
        <source>data</source>
        <translation>Binärdaten</translation>
    </message>
    <message>
        <source>an array</source>
        <translation>eine Liste</translation>
    </message>
    <message>
        <source>a dictionary</source>
        <translation>ein Wörterbuch</translation>
    </message>
    <message>
        <source>a null</source>
        <translation>ein Nullwert</translation>
    </message>
    <message>
        <source>cannot read the configuration &lt;%1&gt;: %2
</source>
        <translation>die Konfiguration &lt;%1&gt; kann nicht gelesen werden: %2
</translation>
    </message>
    <message>
        <source>the configuration &lt;%1&gt; is damaged: Wendle would start with an empty record and replace it at its next save
</source>
        <translation>die Konfiguration &lt;%1&gt; ist beschädigt: Wendle würde mit einer leeren Aufzeichnung starten und sie beim nächsten Speichern ersetzen
</translation>
    </message>
    <message>
        <source>the configuration &lt;%1&gt; holds a property list whose root is %2, not a dictionary: Wendle would start with an empty record
</source>
        <translation>die Konfiguration &lt;%1&gt; enthält eine Property-Liste, deren Wurzel %2 ist, kein Wörterbuch: Wendle würde mit einer leeren Aufzeichnung starten
</translation>
    </message>
    <message>
        <source>no saved configuration at &lt;%1&gt;
</source>
        <translation>keine gespeicherte Konfiguration unter &lt;%1&gt;
</translation>
    </message>
    <message>
        <source>no configuration file at &lt;%1&gt;; showing the copy kept in the settings under &quot;%2&quot;
</source>
        <translation>keine Konfigurationsdatei unter &lt;%1&gt;; gezeigt wird die Kopie, die in den Einstellungen unter „%2“ liegt
</translation>
    </message>
    <message>
        <source>cannot write the configuration &lt;%1&gt; as XML
</source>
        <translation>die Konfiguration &lt;%1&gt; kann nicht als XML geschrieben werden
</translation>
    </message>
    <message>
        <source>cannot import &lt;%1&gt;: the folder &lt;%2&gt; cannot be made
</source>
        <translation>&lt;%1&gt; kann nicht importiert werden: Der Ordner &lt;%2&gt; kann nicht angelegt werden
</translation>
    </message>
    <message>
        <source>cannot import &lt;%1&gt;: the previous configuration cannot be kept as &lt;%2&gt;
</source>
        <translation>&lt;%1&gt; kann nicht importiert werden: Die bisherige Konfiguration kann nicht als &lt;%2&gt; aufbewahrt werden
</translation>
    </message>
    <message>
        <source>cannot import &lt;%1&gt;: &lt;%2&gt; cannot be written
</source>
        <translation>&lt;%1&gt; kann nicht importiert werden: &lt;%2&gt; kann nicht geschrieben werden
</translation>
    </message>
    <message>
        <source>imported &lt;%1&gt; into &lt;%2&gt;
</source>
        <translation>&lt;%1&gt; nach &lt;%2&gt; importiert
</translation>
    </message>
    <message>
        <source>the previous configuration is kept as &lt;%1&gt;
</source>
        <translation>die bisherige Konfiguration ist als &lt;%1&gt; aufbewahrt
</translation>
    </message>
    <message>
        <source>cannot import &lt;%1&gt;: %2
</source>
        <translation>&lt;%1&gt; kann nicht importiert werden: %2
</translation>
    </message>
    <message>
        <source>cannot import &lt;%1&gt;: Wendle is running but does not answer, and it would save its own record over the file; quit Wendle, then import again
</source>
        <translation>&lt;%1&gt; kann nicht importiert werden: Wendle läuft, antwortet aber nicht, und würde seine eigene Aufzeichnung über die Datei speichern; beenden Sie Wendle und importieren Sie dann erneut
</translation>
    </message>
    <message>
        <source>cannot import &lt;%1&gt;: %2</source>
        <translation>&lt;%1&gt; kann nicht importiert werden: %2</translation>
    </message>
    <message>
        <source>cannot import &lt;%1&gt;: it is not a property list (binary, XML or old-style text)</source>
        <translation>&lt;%1&gt; kann nicht importiert werden: Es ist keine Property-Liste (binär, XML oder Textform alten Stils)</translation>
    </message>
    <message>
        <source>cannot import &lt;%1&gt;: its root is %2, not a dictionary; a configuration is a dictionary with &quot;Applications&quot;, &quot;Pools&quot; and the rest of the record</source>
        <translation>&lt;%1&gt; kann nicht importiert werden: Die Wurzel ist %2, kein Wörterbuch; eine Konfiguration ist ein Wörterbuch mit „Applications“, „Pools“ und dem Rest der Aufzeichnung</translation>
    </message>
    <message>
        <source>cannot import &lt;%1&gt;: it is not a Wendle record; it holds none of its keys (&quot;%2&quot;)%3</source>
        <translation>&lt;%1&gt; kann nicht importiert werden: Es ist keine Aufzeichnung von Wendle; sie enthält keinen ihrer Schlüssel („%2“)%3</translation>
    </message>
    <message>
        <source>; it looks like the settings file</source>
        <translation>; sie sieht aus wie die Einstellungsdatei</translation>
    </message>
    <message>
        <source>usage: wendle config show
       wendle config import FILE

show    print the saved configuration as an XML property list
import  replace the record with FILE (a property list in binary, XML or
        old-style text form whose root is a dictionary with a record&apos;s keys);
        the previous record is kept beside it, named with the date and time.
        While Wendle runs, it takes the import in itself (Undo brings the
        previous record back).
</source>
        <translation>Aufruf: wendle config show
        wendle config import DATEI

show    die gespeicherte Konfiguration als XML-Property-Liste ausgeben
import  die Aufzeichnung durch DATEI ersetzen (eine Property-Liste in binärer,
        XML- oder Textform alten Stils, deren Wurzel ein Wörterbuch mit den
        Schlüsseln einer Aufzeichnung ist); die bisherige Aufzeichnung wird
        daneben aufbewahrt, benannt mit Datum und Uhrzeit. Läuft Wendle, nimmt
        es den Import selbst vor (Widerrufen holt die bisherige Aufzeichnung
        zurück).
</translation>
    </message>
    <message>
        <source>a command is needed: show or import FILE</source>
        <translation>ein Befehl wird gebraucht: show oder import DATEI</translation>
    </message>
    <message>
        <source>unknown use &quot;%1&quot;</source>
        <translation>unbekannte Verwendung „%1“</translation>
    </message>
    <message>
        <source>Run &apos;wendle config --help&apos; for its usage.</source>
        <translation>„wendle config --help“ zeigt die Verwendung.</translation>
    </message>
</context>
<context>
    <name>VXConfigurationStore</name>
    <message>
        <source>Configuration Found</source>
        <translation>Konfiguration gefunden</translation>
    </message>
    <message>
        <source>You have previously used a version of Wendle that stored its configuration in the following folder:

%@

If you want to continue using this configuration, please unlock the Configurations folder to give Wendle access.</source>
        <translation>Sie haben zuvor eine Version von Wendle verwendet, die ihre Konfiguration in folgendem Ordner gespeichert hat:

%@

Wenn Sie diese Konfiguration weiter verwenden möchten, entsperren Sie bitte den Ordner „Configurations“, um Wendle Zugriff zu geben.</translation>
    </message>
    <message>
        <source>Start Over</source>
        <translation>Neu beginnen</translation>
    </message>
</context>
<context>
    <name>VXDefaultsCommand</name>
    <message>
        <source>&quot;%1&quot; is not an integer</source>
        <translation>„%1“ ist keine ganze Zahl</translation>
    </message>
    <message>
        <source>&quot;%1&quot; is not a number</source>
        <translation>„%1“ ist keine Zahl</translation>
    </message>
    <message>
        <source>&quot;%1&quot; is not a boolean (YES, NO, true, false, 1 or 0)</source>
        <translation>„%1“ ist kein Wahrheitswert (YES, NO, true, false, 1 oder 0)</translation>
    </message>
    <message>
        <source>&quot;%1&quot; is not a date (2024-05-01T09:30:00Z or 2024-05-01 09:30:00 +0000)</source>
        <translation>„%1“ ist kein Datum (2024-05-01T09:30:00Z oder 2024-05-01 09:30:00 +0000)</translation>
    </message>
    <message>
        <source>&quot;%1&quot; is not hexadecimal data (pairs of 0-9, a-f)</source>
        <translation>„%1“ sind keine hexadezimalen Daten (Paare aus 0-9, a-f)</translation>
    </message>
    <message>
        <source>%1 cannot be nested; write the value as an old-style property list instead</source>
        <translation>%1 kann nicht verschachtelt werden; schreiben Sie den Wert stattdessen als Property-Liste alten Stils</translation>
    </message>
    <message>
        <source>%1 needs a value</source>
        <translation>%1 braucht einen Wert</translation>
    </message>
    <message>
        <source>The domain/default pair of (%1, %2) does not exist</source>
        <translation>Das Paar aus Domäne und Einstellung (%1, %2) existiert nicht</translation>
    </message>
    <message>
        <source>Run &apos;wendle defaults --help&apos; for its usage.</source>
        <translation>„wendle defaults --help“ zeigt die Verwendung.</translation>
    </message>
    <message>
        <source>Usage: wendle defaults read [KEY | --all]
       wendle defaults write KEY VALUE
       wendle defaults write KEY -TYPE VALUE...
       wendle defaults delete KEY

Reads and changes Wendle&apos;s settings: the domain %1, kept in
$XDG_CONFIG_HOME/Wendle/%1.plist
(~/.config/Wendle when XDG_CONFIG_HOME is not set). A running Wendle takes
changes in at once.

  read             prints every stored setting as an old-style property list
  read --all       prints every setting as Wendle sees it: the stored ones and the
                   defaults of those not stored
  read KEY         prints one stored setting: text, numbers (booleans as 1 or 0) and
                   dates as they are, arrays, dictionaries and data as old-style text;
                   registered defaults are not shown
  write KEY VALUE  a VALUE that starts with &quot;(&quot; or &quot;{&quot; is read as an old-style
                   property list, in which every element that spells a number becomes
                   a number (use -array or -dict with -string to keep such text);
                   any other VALUE is stored as text
  delete KEY       removes one setting

Types for write:
  -string TEXT
  -int, -integer NUMBER
  -float, -real NUMBER
  -bool, -boolean YES|NO|true|false|1|0
  -date DATE            2024-05-01T09:30:00Z, 2024-05-01T11:30:00+02:00 (no zone:
                        local time) or 2024-05-01 09:30:00 +0000
  -data HEX             0a1b2c
  -array [-TYPE] VALUE...          elements are text unless a type flag precedes them
  -dict KEY [-TYPE] VALUE...       likewise for the values

Example: wendle defaults write &quot;Pie Color Components&quot; &quot;(0.2, 0.4, 0.6)&quot;
</source>
        <translation>Aufruf: wendle defaults read [SCHLÜSSEL | --all]
        wendle defaults write SCHLÜSSEL WERT
        wendle defaults write SCHLÜSSEL -TYP WERT...
        wendle defaults delete SCHLÜSSEL

Liest und ändert die Einstellungen von Wendle: die Domäne %1, abgelegt in
$XDG_CONFIG_HOME/Wendle/%1.plist
(~/.config/Wendle, wenn XDG_CONFIG_HOME nicht gesetzt ist). Ein laufendes Wendle
übernimmt Änderungen sofort.

  read                 gibt jede gespeicherte Einstellung als Property-Liste alten Stils aus
  read --all           gibt jede Einstellung so aus, wie Wendle sie sieht: die gespeicherten
                       und die Vorgaben der nicht gespeicherten
  read SCHLÜSSEL       gibt eine gespeicherte Einstellung aus: Text, Zahlen (Wahrheitswerte
                       als 1 oder 0) und Daten so, wie sie sind, Listen, Wörterbücher und
                       Binärdaten als Text alten Stils; registrierte Vorgaben werden nicht gezeigt
  write SCHLÜSSEL WERT ein WERT, der mit „(“ oder „{“ beginnt, wird als Property-Liste alten
                       Stils gelesen, in der jedes Element, das eine Zahl schreibt, zur Zahl
                       wird (-array oder -dict mit -string behalten solchen Text); jeder
                       andere WERT wird als Text gespeichert
  delete SCHLÜSSEL     entfernt eine Einstellung

Typen für write:
  -string TEXT
  -int, -integer ZAHL
  -float, -real ZAHL
  -bool, -boolean YES|NO|true|false|1|0
  -date DATUM           2024-05-01T09:30:00Z, 2024-05-01T11:30:00+02:00 (ohne Zone:
                        Ortszeit) oder 2024-05-01 09:30:00 +0000
  -data HEX             0a1b2c
  -array [-TYP] WERT...            Elemente sind Text, wenn ihnen kein Typ vorangeht
  -dict SCHLÜSSEL [-TYP] WERT...   ebenso für die Werte

Beispiel: wendle defaults write &quot;Pie Color Components&quot; &quot;(0.2, 0.4, 0.6)&quot;
</translation>
    </message>
    <message>
        <source>write needs a KEY and a VALUE</source>
        <translation>write braucht einen SCHLÜSSEL und einen WERT</translation>
    </message>
    <message>
        <source>write takes one VALUE after KEY (or a type flag and its values)</source>
        <translation>write nimmt einen WERT nach dem SCHLÜSSEL (oder einen Typ und seine Werte)</translation>
    </message>
    <message>
        <source>cannot read &quot;%1&quot; as an old-style property list</source>
        <translation>„%1“ kann nicht als Property-Liste alten Stils gelesen werden</translation>
    </message>
    <message>
        <source>%1 takes exactly one value</source>
        <translation>%1 nimmt genau einen Wert</translation>
    </message>
    <message>
        <source>-dict needs a value for the key &quot;%1&quot;</source>
        <translation>-dict braucht einen Wert für den Schlüssel „%1“</translation>
    </message>
    <message>
        <source>a command is needed: read, write or delete</source>
        <translation>ein Befehl wird gebraucht: read, write oder delete</translation>
    </message>
    <message>
        <source>read takes at most one KEY</source>
        <translation>read nimmt höchstens einen SCHLÜSSEL</translation>
    </message>
    <message>
        <source>No settings have been changed yet: Wendle uses its defaults (wendle defaults read --all lists them).</source>
        <translation>Noch wurde keine Einstellung geändert: Wendle verwendet seine Vorgaben (wendle defaults read --all listet sie auf).</translation>
    </message>
    <message>
        <source>It is not set; Wendle uses its default: %1</source>
        <translation>Sie ist nicht gesetzt; Wendle verwendet seine Vorgabe: %1</translation>
    </message>
    <message>
        <source>cannot write %1</source>
        <translation>%1 kann nicht geschrieben werden</translation>
    </message>
    <message>
        <source>delete takes exactly one KEY</source>
        <translation>delete nimmt genau einen SCHLÜSSEL</translation>
    </message>
    <message>
        <source>Domain (%1, %2) not found.
Defaults have not been changed.</source>
        <translation>Domäne (%1, %2) nicht gefunden.
Die Einstellungen wurden nicht geändert.</translation>
    </message>
    <message>
        <source>unknown command &quot;%1&quot;</source>
        <translation>unbekannter Befehl „%1“</translation>
    </message>
</context>
<context>
    <name>VXDesktop</name>
    <message>
        <source>This is not available on this desktop.</source>
        <translation>Das ist auf diesem Desktop nicht verfügbar.</translation>
    </message>
</context>
<context>
    <name>VXDesktopBackends</name>
    <message>
        <source>Not seen: %1</source>
        <translation>Nicht sichtbar: %1</translation>
    </message>
    <message>
        <source>To do: %1</source>
        <translation>Zu tun: %1</translation>
    </message>
</context>
<context>
    <name>VXDesktopReport</name>
    <message>
        <source>Activity Report</source>
        <translation>Aktivitätsbericht</translation>
    </message>
</context>
<context>
    <name>VXDialogs</name>
    <message>
        <source>Cancel</source>
        <translation>Abbrechen</translation>
    </message>
</context>
<context>
    <name>VXExportCommand</name>
    <message>
        <source>Run &apos;wendle %1 --help&apos; for its usage.</source>
        <translation>„wendle %1 --help“ zeigt die Verwendung.</translation>
    </message>
    <message>
        <source>unexpected argument &quot;%1&quot;</source>
        <translation>unerwartetes Argument „%1“</translation>
    </message>
    <message>
        <source>%1; using the record it saved last</source>
        <translation>%1; verwendet wird die zuletzt gespeicherte Aufzeichnung</translation>
    </message>
    <message>
        <source>Wendle is not running and has saved no record at %1 yet (it saves every half hour and when it quits)</source>
        <translation>Wendle läuft nicht und hat unter %1 noch keine Aufzeichnung gespeichert (es speichert jede halbe Stunde und beim Beenden)</translation>
    </message>
    <message>
        <source>cannot read the record %1: it is damaged or not a record</source>
        <translation>die Aufzeichnung %1 kann nicht gelesen werden: Sie ist beschädigt oder keine Aufzeichnung</translation>
    </message>
    <message>
        <source>the range ends before it begins: --to %1 (%2) comes before --from %3 (%4)</source>
        <translation>der Zeitraum endet, bevor er beginnt: --to %1 (%2) liegt vor --from %3 (%4)</translation>
    </message>
    <message>
        <source>WHEN is a date (2026-11-20), a date and time (&quot;2026-11-20 14:00&quot;), now, today,
yesterday, or &quot;N days ago&quot;, &quot;N hours ago&quot; (also minutes and weeks), in local time.
A day as --to means the end of that day: --from 2026-11-20 --to 2026-11-20 is that day.
</source>
        <translation>WANN ist ein Datum (2026-11-20), ein Datum mit Uhrzeit („2026-11-20 14:00“), now (jetzt),
today (heute), yesterday (gestern) oder „N days ago“, „N hours ago“ (vor N Tagen, Stunden;
auch minutes und weeks), in Ortszeit. Ein Tag als --to meint das Ende dieses Tages:
--from 2026-11-20 --to 2026-11-20 ist dieser ganze Tag.
</translation>
    </message>
    <message>
        <source>unknown column &quot;%1&quot; (columns: pool, pool-notes, application, window, front, total)</source>
        <translation>unbekannte Spalte „%1“ (Spalten: pool, pool-notes, application, window, front, total)</translation>
    </message>
    <message>
        <source>unknown separator &quot;%1&quot; for --%2 (lf, cr or crlf)</source>
        <translation>unbekanntes Trennzeichen „%1“ für --%2 (lf, cr oder crlf)</translation>
    </message>
    <message>
        <source>unknown separator &quot;%1&quot; for --%2 (comma, semicolon or tab)</source>
        <translation>unbekanntes Trennzeichen „%1“ für --%2 (comma, semicolon oder tab)</translation>
    </message>
    <message>
        <source>the columns need application or pool, and front or total</source>
        <translation>die Spalten brauchen application oder pool, und front oder total</translation>
    </message>
    <message>
        <source>cannot write %1</source>
        <translation>%1 kann nicht geschrieben werden</translation>
    </message>
    <message>
        <source>Nothing has been tracked yet.</source>
        <translation>Noch wurde nichts erfasst.</translation>
    </message>
    <message>
        <source>From %1 to %2 (%3)</source>
        <translation>Von %1 bis %2 (%3)</translation>
    </message>
    <message>
        <source>Nothing was tracked in this range.</source>
        <translation>In diesem Zeitraum wurde nichts erfasst.</translation>
    </message>
    <message>
        <source>The record runs from %1 to %2.</source>
        <translation>Die Aufzeichnung reicht von %1 bis %2.</translation>
    </message>
    <message>
        <source>Pools</source>
        <translation>Pools</translation>
    </message>
    <message>
        <source>Applications</source>
        <translation>Programme</translation>
    </message>
    <message>
        <source>Foreground</source>
        <translation>Vorne</translation>
    </message>
    <message>
        <source>Open</source>
        <translation>Geöffnet</translation>
    </message>
    <message>
        <source>Usage: wendle export [--from WHEN] [--to WHEN] [-o FILE] [--columns LIST]
                     [--column-separator SEP] [--row-separator SEP]

Writes every foreground and open period of the range as CSV, one row per period, to
standard output or FILE, in the columns and separators chosen in the preferences.
The data is the running Wendle&apos;s record up to now; when Wendle is not running, the
record it saved last.

  --from WHEN, --to WHEN   the range (default: everything tracked)
  -o, --output FILE        write to FILE (readable by you alone) instead
  --columns LIST           the columns, separated by commas: pool, pool-notes,
                           application, window, front, total
  --column-separator SEP   comma, semicolon or tab
  --row-separator SEP      lf, cr or crlf

%1</source>
        <translation>Aufruf: wendle export [--from WANN] [--to WANN] [-o DATEI] [--columns LISTE]
                      [--column-separator TRENNER] [--row-separator TRENNER]

Schreibt jeden Vordergrund- und Öffnungszeitraum des Bereichs als CSV, eine Zeile je
Zeitraum, auf die Standardausgabe oder in DATEI, mit den Spalten und Trennzeichen aus
den Einstellungen. Die Daten sind die Aufzeichnung des laufenden Wendle bis jetzt; läuft
Wendle nicht, die zuletzt gespeicherte.

  --from WANN, --to WANN         der Zeitraum (Vorgabe: alles Erfasste)
  -o, --output DATEI             stattdessen in DATEI schreiben (nur für Sie lesbar)
  --columns LISTE                die Spalten, durch Kommas getrennt: pool, pool-notes,
                                 application, window, front, total
  --column-separator TRENNER     comma, semicolon oder tab
  --row-separator TRENNER        lf, cr oder crlf

%1</translation>
    </message>
    <message>
        <source>Usage: wendle summary [--from WHEN] [--to WHEN]

Prints, for every application, window and pool with activity in the range, how long it
was in front and how long it was open, and each as a share of the range. The data is
the running Wendle&apos;s record up to now; when Wendle is not running, the record it saved
last.

  --from WHEN, --to WHEN   the range (default: everything tracked)

%1</source>
        <translation>Aufruf: wendle summary [--from WANN] [--to WANN]

Gibt für jedes Programm, Fenster und jeden Pool mit Aktivität im Zeitraum aus, wie lange
es vorne und wie lange es geöffnet war, jeweils auch als Anteil am Zeitraum. Die Daten
sind die Aufzeichnung des laufenden Wendle bis jetzt; läuft Wendle nicht, die zuletzt
gespeicherte.

  --from WANN, --to WANN   der Zeitraum (Vorgabe: alles Erfasste)

%1</translation>
    </message>
</context>
<context>
    <name>VXExporter</name>
    <message>
        <source>Export Snapshot</source>
        <translation>Schnappschuss exportieren</translation>
    </message>
</context>
<context>
    <name>VXGnomeShellDesktop</name>
    <message>
        <source>GNOME Shell does not answer about its extensions (%1): windows are not tracked.</source>
        <translation>GNOME Shell gibt keine Auskunft über seine Erweiterungen (%1): Fenster werden nicht erfasst.</translation>
    </message>
    <message>
        <source>Extensions are turned off in GNOME, so Wendle&apos;s extension cannot show it the windows. Turn extensions on (in the Extensions app) to track windows.</source>
        <translation>Erweiterungen sind in GNOME ausgeschaltet, daher kann die Erweiterung von Wendle ihm die Fenster nicht zeigen. Schalten Sie Erweiterungen ein (in der App „Erweiterungen“), um Fenster zu erfassen.</translation>
    </message>
    <message>
        <source>Wendle&apos;s GNOME Shell extension is turned off, so windows are not tracked. Turn it on in the Extensions app to track them.</source>
        <translation>Die GNOME-Shell-Erweiterung von Wendle ist ausgeschaltet, daher werden Fenster nicht erfasst. Schalten Sie sie in der App „Erweiterungen“ ein, um sie zu erfassen.</translation>
    </message>
    <message>
        <source>Wendle cannot install its GNOME Shell extension (%1): windows are not tracked.</source>
        <translation>Wendle kann seine GNOME-Shell-Erweiterung nicht installieren (%1): Fenster werden nicht erfasst.</translation>
    </message>
    <message>
        <source>Wendle installed its GNOME Shell extension, which shows it the windows. GNOME Shell loads new extensions only when you log in: log out and back in once, and Wendle tracks windows from then on.</source>
        <translation>Wendle hat seine GNOME-Shell-Erweiterung installiert, die ihm die Fenster zeigt. GNOME Shell lädt neue Erweiterungen erst bei der Anmeldung: Melden Sie sich einmal ab und wieder an, dann erfasst Wendle von da an Fenster.</translation>
    </message>
    <message>
        <source>GNOME Shell runs an older copy of Wendle&apos;s extension. Log out and back in once to load the new one; until then windows are not tracked.</source>
        <translation>GNOME Shell führt eine ältere Fassung der Erweiterung von Wendle aus. Melden Sie sich einmal ab und wieder an, um die neue zu laden; bis dahin werden Fenster nicht erfasst.</translation>
    </message>
    <message>
        <source>Wendle&apos;s GNOME Shell extension was turned off: windows are not tracked until it is turned on again.</source>
        <translation>Die GNOME-Shell-Erweiterung von Wendle wurde ausgeschaltet: Fenster werden nicht erfasst, bis sie wieder eingeschaltet ist.</translation>
    </message>
    <message>
        <source>Asking GNOME Shell for this</source>
        <translation>GNOME Shell wird darum gebeten</translation>
    </message>
    <message>
        <source>GNOME Shell did not do it.</source>
        <translation>GNOME Shell hat es nicht getan.</translation>
    </message>
</context>
<context>
    <name>VXHelpWindow</name>
    <message>
        <source>Wendle Help</source>
        <translation>Wendle-Hilfe</translation>
    </message>
    <message>
        <source>Help topics</source>
        <translation>Hilfethemen</translation>
    </message>
    <message>
        <source>Help page</source>
        <translation>Hilfeseite</translation>
    </message>
</context>
<context>
    <name>VXHibernation</name>
    <message>
        <source>Wake Up</source>
        <translation>Aufwecken</translation>
    </message>
    <message>
        <source>Suspend Timers...</source>
        <translation>Zeitmessung anhalten …</translation>
    </message>
    <message>
        <source>Wendle can wake up automatically next time you do something, or it can remain in deep suspension until you wake it up manually.</source>
        <translation>Wendle kann automatisch aufwachen, sobald Sie das nächste Mal etwas tun, oder in tiefem Ruhezustand bleiben, bis Sie es von Hand aufwecken.</translation>
    </message>
    <message>
        <source>Wake Up Automatically</source>
        <translation>Automatisch aufwachen</translation>
    </message>
    <message>
        <source>Wake Up Manually</source>
        <translation>Von Hand aufwecken</translation>
    </message>
</context>
<context>
    <name>VXItem</name>
    <message>
        <source>Any Application</source>
        <translation>Jedes Programm</translation>
    </message>
    <message>
        <source>Empty Pool</source>
        <translation>Leerer Pool</translation>
    </message>
</context>
<context>
    <name>VXItemListModel</name>
    <message>
        <source>Name</source>
        <translation>Name</translation>
    </message>
    <message>
        <source>Front Time</source>
        <translation>Vordergrundzeit</translation>
    </message>
    <message>
        <source>Time</source>
        <translation>Zeit</translation>
    </message>
</context>
<context>
    <name>VXListContainer</name>
    <message>
        <source>Organizer lists</source>
        <translation>Listen des Organizers</translation>
    </message>
</context>
<context>
    <name>VXLoginItems</name>
    <message>
        <source>%@ Login Item set to Hidden</source>
        <translation>Anmeldeobjekt %@ ist auf „Ausgeblendet“ gesetzt</translation>
    </message>
    <message>
        <source>%@ may not function properly if set to run at login and marked Hidden. To make sure %@ works as expected, click the button below to remove the Hidden option from %@&apos;s Login Items entry.</source>
        <translation>%@ funktioniert möglicherweise nicht richtig, wenn es bei der Anmeldung startet und als „Ausgeblendet“ markiert ist. Damit %@ wie erwartet funktioniert, klicken Sie auf die Schaltfläche unten, um die Option „Ausgeblendet“ aus dem Anmeldeobjekt von %@ zu entfernen.</translation>
    </message>
    <message>
        <source>Unhide %@</source>
        <translation>%@ einblenden</translation>
    </message>
</context>
<context>
    <name>VXMainController</name>
    <message>
        <source>as Time Lapse</source>
        <translation>als Zeitverlauf</translation>
    </message>
    <message>
        <source>as Time Portions</source>
        <translation>als Zeitanteile</translation>
    </message>
    <message>
        <source>Foreground Activity</source>
        <translation>Vordergrundaktivität</translation>
    </message>
    <message>
        <source>Total Activity</source>
        <translation>Gesamtaktivität</translation>
    </message>
    <message>
        <source>Display &gt;24-Hour Intervals as Days</source>
        <translation>Zeiträume über 24 Stunden in Tagen anzeigen</translation>
    </message>
    <message>
        <source>Color Scheme</source>
        <translation>Farbschema</translation>
    </message>
    <message>
        <source>Original</source>
        <translation>Original</translation>
    </message>
    <message>
        <source>Standard Highlight Color</source>
        <translation>Standard-Hervorhebungsfarbe</translation>
    </message>
    <message>
        <source>Dark</source>
        <translation>Dunkel</translation>
    </message>
    <message>
        <source>Light</source>
        <translation>Hell</translation>
    </message>
    <message>
        <source>Quit Wendle?</source>
        <translation>Wendle beenden?</translation>
    </message>
    <message>
        <source>Are you sure you want Wendle to stop tracking your activities and quit now?</source>
        <translation>Möchten Sie Wendle wirklich jetzt beenden? Ihre Aktivitäten werden dann nicht mehr erfasst.</translation>
    </message>
    <message>
        <source>Quit</source>
        <translation>Beenden</translation>
    </message>
    <message>
        <source>Quit and don&apos;t ask again</source>
        <translation>Beenden und nicht mehr fragen</translation>
    </message>
    <message>
        <source>Open Snapshot</source>
        <translation>Schnappschuss öffnen</translation>
    </message>
</context>
<context>
    <name>VXMenuItems</name>
    <message>
        <source>Wendle</source>
        <translation>Wendle</translation>
    </message>
    <message>
        <source>File</source>
        <translation>Datei</translation>
    </message>
    <message>
        <source>Edit</source>
        <translation>Bearbeiten</translation>
    </message>
    <message>
        <source>View</source>
        <translation>Ansicht</translation>
    </message>
    <message>
        <source>Window</source>
        <translation>Fenster</translation>
    </message>
    <message>
        <source>Help</source>
        <translation>Hilfe</translation>
    </message>
    <message>
        <source>&lt;&lt; Suspend Timers &gt;&gt;</source>
        <translation>&lt;&lt; Zeitmessung anhalten &gt;&gt;</translation>
    </message>
    <message>
        <source>About Wendle</source>
        <translation>Über Wendle</translation>
    </message>
    <message>
        <source>Preferences...</source>
        <translation>Einstellungen …</translation>
    </message>
    <message>
        <source>Enable Debug Logging</source>
        <translation>Debug-Protokollierung einschalten</translation>
    </message>
    <message>
        <source>Open Snapshot...</source>
        <translation>Schnappschuss öffnen …</translation>
    </message>
    <message>
        <source>Export Snapshot...</source>
        <translation>Schnappschuss exportieren …</translation>
    </message>
    <message>
        <source>Close Window</source>
        <translation>Fenster schließen</translation>
    </message>
    <message>
        <source>Reset Application Timers</source>
        <translation>Programmzeiten zurücksetzen</translation>
    </message>
    <message>
        <source>Reset Pool Timers</source>
        <translation>Poolzeiten zurücksetzen</translation>
    </message>
    <message>
        <source>Reset All Timers</source>
        <translation>Alle Zeiten zurücksetzen</translation>
    </message>
    <message>
        <source>Undo</source>
        <translation>Widerrufen</translation>
    </message>
    <message>
        <source>Redo</source>
        <translation>Wiederholen</translation>
    </message>
    <message>
        <source>Clear Pools</source>
        <translation>Pools löschen</translation>
    </message>
    <message>
        <source>Delete</source>
        <translation>Löschen</translation>
    </message>
    <message>
        <source>New Pool from Selection</source>
        <translation>Neuer Pool aus Auswahl</translation>
    </message>
    <message>
        <source>Quit</source>
        <translation>Beenden</translation>
    </message>
    <message>
        <source>Organizer</source>
        <translation>Organizer</translation>
    </message>
    <message>
        <source>Activity Report</source>
        <translation>Aktivitätsbericht</translation>
    </message>
    <message>
        <source>Stay in Front</source>
        <translation>Im Vordergrund bleiben</translation>
    </message>
</context>
<context>
    <name>VXOrganizer</name>
    <message>
        <source>Applications</source>
        <translation>Programme</translation>
    </message>
    <message>
        <source>Pools</source>
        <translation>Pools</translation>
    </message>
    <message>
        <source>Drag items here to create pools</source>
        <translation>Ziehen Sie Einträge hierher, um Pools anzulegen</translation>
    </message>
    <message>
        <source>Create Pool</source>
        <translation>Pool anlegen</translation>
    </message>
    <message>
        <source>Suspended</source>
        <translation>Zeitmessung angehalten</translation>
    </message>
    <message>
        <source>Context</source>
        <translation>Kontextmenü</translation>
    </message>
    <message>
        <source>Collapse</source>
        <translation>Einklappen</translation>
    </message>
    <message>
        <source>Expand</source>
        <translation>Ausklappen</translation>
    </message>
    <message>
        <source>Edit Notes</source>
        <translation>Notizen bearbeiten</translation>
    </message>
    <message>
        <source>Reset Timer</source>
        <translation>Zeit zurücksetzen</translation>
    </message>
    <message>
        <source>Remove from List</source>
        <translation>Aus der Liste entfernen</translation>
    </message>
    <message>
        <source>Remove from List and Add to Blacklist</source>
        <translation>Aus der Liste entfernen und zur Sperrliste hinzufügen</translation>
    </message>
    <message>
        <source>Bring to Foreground</source>
        <translation>In den Vordergrund holen</translation>
    </message>
    <message>
        <source>Quit</source>
        <translation>Beenden</translation>
    </message>
    <message>
        <source>Launch</source>
        <translation>Starten</translation>
    </message>
    <message>
        <source>&quot;%1&quot; - Notes</source>
        <translation>„%1“ – Notizen</translation>
    </message>
    <message>
        <source>&quot;%1&quot; cannot be launched.</source>
        <translation>„%1“ kann nicht gestartet werden.</translation>
    </message>
    <message>
        <source>&quot;%1&quot; cannot be brought to the foreground.</source>
        <translation>„%1“ kann nicht in den Vordergrund geholt werden.</translation>
    </message>
    <message>
        <source>&quot;%1&quot; cannot be quit.</source>
        <translation>„%1“ kann nicht beendet werden.</translation>
    </message>
</context>
<context>
    <name>VXOrganizerWindow</name>
    <message>
        <source>Wendle</source>
        <translation>Wendle</translation>
    </message>
    <message>
        <source>Organizer lists</source>
        <translation>Listen des Organizers</translation>
    </message>
</context>
<context>
    <name>VXPools</name>
    <message>
        <source>Track %1 Only</source>
        <translation>Nur %1 erfassen</translation>
    </message>
    <message>
        <source>Track All Applications</source>
        <translation>Alle Programme erfassen</translation>
    </message>
    <message>
        <source>Track Across All Applications</source>
        <translation>Über alle Programme hinweg erfassen</translation>
    </message>
    <message>
        <source>Track Window Titles Across All Applications</source>
        <translation>Fenstertitel über alle Programme hinweg erfassen</translation>
    </message>
</context>
<context>
    <name>VXPreferenceHandlers</name>
    <message>
        <source>Choose Folder</source>
        <translation>Ordner wählen</translation>
    </message>
    <message>
        <source>Other...</source>
        <translation>Andere …</translation>
    </message>
    <message>
        <source>Wendle cannot export to this folder.</source>
        <translation>Wendle kann nicht in diesen Ordner exportieren.</translation>
    </message>
    <message>
        <source>The folder “%@” cannot be written. Automatic exports keep going to “%@”.</source>
        <translation>In den Ordner „%@“ kann nicht geschrieben werden. Automatische Exporte gehen weiterhin nach „%@“.</translation>
    </message>
    <message>
        <source>OK</source>
        <translation>OK</translation>
    </message>
    <message>
        <source>1 second</source>
        <translation>1 Sekunde</translation>
    </message>
    <message>
        <source>%@ seconds</source>
        <translation>%@ Sekunden</translation>
    </message>
</context>
<context>
    <name>VXPreferencesWindow</name>
    <message>
        <source>Preferences</source>
        <translation>Einstellungen</translation>
    </message>
    <message>
        <source>Wendle Preferences</source>
        <translation>Wendle-Einstellungen</translation>
    </message>
    <message>
        <source>Never</source>
        <translation>Nie</translation>
    </message>
    <message>
        <source>1 hour</source>
        <translation>1 Stunde</translation>
    </message>
    <message>
        <source>%1 hours</source>
        <translation>%1 Stunden</translation>
    </message>
    <message>
        <source>1 minute</source>
        <translation>1 Minute</translation>
    </message>
    <message>
        <source>%1 minutes</source>
        <translation>%1 Minuten</translation>
    </message>
    <message>
        <source>1 second</source>
        <translation>1 Sekunde</translation>
    </message>
    <message>
        <source>%1 seconds</source>
        <translation>%1 Sekunden</translation>
    </message>
</context>
<context>
    <name>VXReportController</name>
    <message>
        <source>View</source>
        <translation>Ansicht</translation>
    </message>
    <message>
        <source>Index</source>
        <translation>Übersicht</translation>
    </message>
    <message>
        <source>Nothing Tracked Yet</source>
        <translation>Noch nichts erfasst</translation>
    </message>
    <message>
        <source>No activity has been tracked in this range yet.</source>
        <translation>In diesem Zeitraum wurde noch keine Aktivität erfasst.</translation>
    </message>
    <message>
        <source>No Activity</source>
        <translation>Keine Aktivität</translation>
    </message>
    <message>
        <source>The file holds no activity in this range.</source>
        <translation>Die Datei enthält in diesem Zeitraum keine Aktivität.</translation>
    </message>
</context>
<context>
    <name>VXReportView</name>
    <message>
        <source>Foreground: %@ (%lu%%) - Total: %@ (%lu%%)</source>
        <translation>Vorne: %@ (%lu %%) – Gesamt: %@ (%lu %%)</translation>
    </message>
    <message>
        <source>Foreground: %@ (Total: %@)</source>
        <translation>Vorne: %@ (Gesamt: %@)</translation>
    </message>
    <message>
        <source>Total: %@ (%lu%%)</source>
        <translation>Gesamt: %@ (%lu %%)</translation>
    </message>
    <message>
        <source>Total: %@</source>
        <translation>Gesamt: %@</translation>
    </message>
    <message>
        <source>Foreground: %@ (%lu%%)</source>
        <translation>Vorne: %@ (%lu %%)</translation>
    </message>
    <message>
        <source>Foreground: %@</source>
        <translation>Vorne: %@</translation>
    </message>
    <message>
        <source>Applications</source>
        <translation>Programme</translation>
    </message>
    <message>
        <source>Pools</source>
        <translation>Pools</translation>
    </message>
</context>
<context>
    <name>VXResets</name>
    <message>
        <source>Reset timers?</source>
        <translation>Zeiten zurücksetzen?</translation>
    </message>
    <message>
        <source>Are you sure you want to reset?

If you change your mind after the fact, this action is undoable.</source>
        <translation>Möchten Sie wirklich zurücksetzen?

Wenn Sie es sich danach anders überlegen, lässt sich dieser Schritt widerrufen.</translation>
    </message>
    <message>
        <source>Reset</source>
        <translation>Zurücksetzen</translation>
    </message>
    <message>
        <source>Clear all?</source>
        <translation>Alles löschen?</translation>
    </message>
    <message>
        <source>Are you sure you want to clear all your applications and pools?

If you change your mind after the fact, this action is undoable.</source>
        <translation>Möchten Sie wirklich alle Ihre Programme und Pools löschen?

Wenn Sie es sich danach anders überlegen, lässt sich dieser Schritt widerrufen.</translation>
    </message>
    <message>
        <source>Clear All</source>
        <translation>Alles löschen</translation>
    </message>
</context>
<context>
    <name>VXScenario</name>
    <message>
        <source>scenario</source>
        <translation>Szenario</translation>
    </message>
    <message>
        <source>not JSON (%1 at byte %2)</source>
        <translation>kein JSON (%1 bei Byte %2)</translation>
    </message>
    <message>
        <source>must be an object</source>
        <translation>muss ein Objekt sein</translation>
    </message>
    <message>
        <source>must be a multiple of 1/8 second</source>
        <translation>muss ein Vielfaches von 1/8 Sekunde sein</translation>
    </message>
    <message>
        <source>must not be negative</source>
        <translation>darf nicht negativ sein</translation>
    </message>
    <message>
        <source>daily tasks do not run in a simulation</source>
        <translation>tägliche Aufgaben laufen in einer Simulation nicht</translation>
    </message>
    <message>
        <source>must be a list</source>
        <translation>muss eine Liste sein</translation>
    </message>
    <message>
        <source>must be later than the state before</source>
        <translation>muss später als der Zustand davor sein</translation>
    </message>
    <message>
        <source>must not be earlier than the event before</source>
        <translation>darf nicht früher als das Ereignis davor sein</translation>
    </message>
    <message>
        <source>unknown field</source>
        <translation>unbekanntes Feld</translation>
    </message>
    <message>
        <source>missing</source>
        <translation>fehlt</translation>
    </message>
    <message>
        <source>must be a number</source>
        <translation>muss eine Zahl sein</translation>
    </message>
    <message>
        <source>is after &quot;end&quot;</source>
        <translation>liegt nach „end“</translation>
    </message>
    <message>
        <source>must be an integer</source>
        <translation>muss eine ganze Zahl sein</translation>
    </message>
    <message>
        <source>must be true or false</source>
        <translation>muss true oder false sein</translation>
    </message>
    <message>
        <source>must be a text or null</source>
        <translation>muss ein Text oder null sein</translation>
    </message>
    <message>
        <source>must be a text</source>
        <translation>muss ein Text sein</translation>
    </message>
    <message>
        <source>is out of range</source>
        <translation>liegt außerhalb des Bereichs</translation>
    </message>
    <message>
        <source>unknown event type &quot;%1&quot;</source>
        <translation>unbekannter Ereignistyp „%1“</translation>
    </message>
    <message>
        <source>belongs to setDefault events only</source>
        <translation>gehört nur zu setDefault-Ereignissen</translation>
    </message>
    <message>
        <source>&quot;%1&quot; cannot be set during a simulation</source>
        <translation>„%1“ kann während einer Simulation nicht gesetzt werden</translation>
    </message>
</context>
<context>
    <name>VXScenarioRunner</name>
    <message>
        <source>the program&apos;s timers ran away at %1 s</source>
        <translation>die Zeitgeber des Programms sind bei %1 s davongelaufen</translation>
    </message>
</context>
<context>
    <name>VXSecurityScopedBookmarkManager</name>
    <message>
        <source>Unlock Folder</source>
        <translation>Ordner entsperren</translation>
    </message>
    <message>
        <source>Unlock</source>
        <translation>Entsperren</translation>
    </message>
</context>
<context>
    <name>VXSimulateCommand</name>
    <message>
        <source>wendle simulate: %1 needs a file name</source>
        <translation>wendle simulate: %1 braucht einen Dateinamen</translation>
    </message>
    <message>
        <source>wendle simulate: unknown option %1</source>
        <translation>wendle simulate: unbekannte Option %1</translation>
    </message>
    <message>
        <source>wendle simulate: one scenario at a time</source>
        <translation>wendle simulate: ein Szenario nach dem anderen</translation>
    </message>
    <message>
        <source>wendle simulate: a SCENARIO.json is needed</source>
        <translation>wendle simulate: eine SZENARIO.json wird gebraucht</translation>
    </message>
    <message>
        <source>wendle simulate: -o OUT.plist is needed</source>
        <translation>wendle simulate: -o AUS.plist wird gebraucht</translation>
    </message>
    <message>
        <source>wendle simulate: cannot read &lt;%1&gt;: %2</source>
        <translation>wendle simulate: &lt;%1&gt; kann nicht gelesen werden: %2</translation>
    </message>
    <message>
        <source>wendle simulate: %1: %2</source>
        <translation>wendle simulate: %1: %2</translation>
    </message>
    <message>
        <source>wendle simulate: %1</source>
        <translation>wendle simulate: %1</translation>
    </message>
    <message>
        <source>wendle simulate: cannot write &lt;%1&gt;</source>
        <translation>wendle simulate: &lt;%1&gt; kann nicht geschrieben werden</translation>
    </message>
    <message>
        <source>Usage: wendle simulate SCENARIO.json -o OUT.plist

Runs the scripted day in SCENARIO.json through Wendle&apos;s tracking engine in virtual
time (a working day takes seconds) and writes the record that Wendle would have saved
on quit to OUT.plist, as a binary property list. Your own record and settings are not
touched.

The scenario is a JSON object:

  {&quot;start&quot;: 1767254400, &quot;end&quot;: 3600,
   &quot;defaults&quot;: {&quot;Update Interval&quot;: 1, &quot;Hibernation Interval&quot;: 300},
   &quot;configuration&quot;: {...},
   &quot;desktop&quot;: [{&quot;at&quot;: 0, &quot;front&quot;: &quot;/apps/editor.desktop&quot;,
                &quot;applications&quot;: [{&quot;name&quot;: &quot;Editor&quot;, &quot;identifier&quot;: &quot;editor&quot;,
                                  &quot;path&quot;: &quot;/apps/editor.desktop&quot;, &quot;pid&quot;: 100}],
                &quot;windows&quot;: [{&quot;pid&quot;: 100, &quot;title&quot;: &quot;Report.odt&quot;, &quot;number&quot;: 1}]}],
   &quot;events&quot;: [{&quot;at&quot;: 1800, &quot;type&quot;: &quot;sleep&quot;}, {&quot;at&quot;: 2400, &quot;type&quot;: &quot;wake&quot;}]}

  start          Unix time at which the program starts (required)
  end            seconds after start at which it quits (required)
  crash          true: at the end the program is killed instead of quitting; the
                 output is then the record a restart recovers (default false)
  defaults       settings of the run, over the registered defaults (no daily tasks:
                 &quot;Auto-Reset ...&quot; and &quot;Auto-Export Reports&quot; are refused)
  configuration  the record the program loads at start (default: none)
  desktop        states of the desktop; each replaces the whole desktop from its &quot;at&quot;
                 until the next one (&quot;at&quot; strictly increasing; before the first:
                 an empty desktop)
    front          desktop-entry path of the frontmost application, or null
    applications   name, path (null: none), pid (required), identifier, regular
                   (default true)
    windows        front to back: pid (required), title, number, layer (default 0),
                   onScreen and orderedIn (default true)
  events         what happens, in order (&quot;at&quot; never decreasing), each with &quot;at&quot; and
                 &quot;type&quot;:
    input, sleep, wake, sessionResign, sessionActive, lock, unlock,
    suspendAutomatic, suspendManual, wakeUp (the Suspend Timers command and its answers),
    resetApplicationTimers, resetPoolTimers, resetAllTimers, clearApplications,
    clearPools, clearAll, undo, redo, forceTick, crash (ends the run as &quot;crash&quot;: true
    does, at that moment), and
    setDefault with &quot;key&quot; and &quot;value&quot; (null removes it), for %1

Times (&quot;start&quot;, &quot;end&quot;, every &quot;at&quot;, an &quot;Update Interval&quot; above 0.5) are multiples of
1/8 second, so that sums of them are exact; &quot;at&quot; lies between 0 and &quot;end&quot;. Unknown fields
are refused, and the message names the field (&quot;desktop[2].windows[0].pid: missing&quot;).
Examples: tests/app/scenarios in Wendle&apos;s sources.

Exit status: 0 done, 1 a file could not be read or written, 2 the scenario was refused.
</source>
        <translation>Aufruf: wendle simulate SZENARIO.json -o AUS.plist

Führt den in SZENARIO.json beschriebenen Tag in virtueller Zeit durch die Erfassung von Wendle
(ein Arbeitstag dauert Sekunden) und schreibt die Aufzeichnung, die Wendle beim Beenden
gespeichert hätte, als binäre Property-Liste nach AUS.plist. Ihre eigene Aufzeichnung und
Ihre Einstellungen bleiben unberührt.

Das Szenario ist ein JSON-Objekt:

  {&quot;start&quot;: 1767254400, &quot;end&quot;: 3600,
   &quot;defaults&quot;: {&quot;Update Interval&quot;: 1, &quot;Hibernation Interval&quot;: 300},
   &quot;configuration&quot;: {...},
   &quot;desktop&quot;: [{&quot;at&quot;: 0, &quot;front&quot;: &quot;/apps/editor.desktop&quot;,
                &quot;applications&quot;: [{&quot;name&quot;: &quot;Editor&quot;, &quot;identifier&quot;: &quot;editor&quot;,
                                  &quot;path&quot;: &quot;/apps/editor.desktop&quot;, &quot;pid&quot;: 100}],
                &quot;windows&quot;: [{&quot;pid&quot;: 100, &quot;title&quot;: &quot;Report.odt&quot;, &quot;number&quot;: 1}]}],
   &quot;events&quot;: [{&quot;at&quot;: 1800, &quot;type&quot;: &quot;sleep&quot;}, {&quot;at&quot;: 2400, &quot;type&quot;: &quot;wake&quot;}]}

  start          Unix-Zeit, zu der das Programm startet (Pflicht)
  end            Sekunden nach dem Start, zu denen es sich beendet (Pflicht)
  crash          true: Am Ende wird das Programm abgebrochen, statt sich zu beenden; die
                 Ausgabe ist dann die Aufzeichnung, die ein Neustart wiederherstellt
                 (Vorgabe false)
  defaults       Einstellungen des Laufs, über den registrierten Vorgaben (keine täglichen
                 Aufgaben: &quot;Auto-Reset ...&quot; und &quot;Auto-Export Reports&quot; werden abgelehnt)
  configuration  die Aufzeichnung, die das Programm beim Start lädt (Vorgabe: keine)
  desktop        Zustände des Desktops; jeder ersetzt den ganzen Desktop von seinem &quot;at&quot;
                 bis zum nächsten (&quot;at&quot; streng steigend; vor dem ersten: ein leerer
                 Desktop)
    front          Pfad des Desktop-Eintrags des vordersten Programms, oder null
    applications   name, path (null: keiner), pid (Pflicht), identifier, regular
                   (Vorgabe true)
    windows        von vorne nach hinten: pid (Pflicht), title, number, layer (Vorgabe 0),
                   onScreen und orderedIn (Vorgabe true)
  events         was geschieht, der Reihe nach (&quot;at&quot; nie fallend), jeweils mit &quot;at&quot; und
                 &quot;type&quot;:
    input, sleep, wake, sessionResign, sessionActive, lock, unlock,
    suspendAutomatic, suspendManual, wakeUp (der Befehl „Zeitmessung anhalten“ und seine
    Antworten),
    resetApplicationTimers, resetPoolTimers, resetAllTimers, clearApplications,
    clearPools, clearAll, undo, redo, forceTick, crash (beendet den Lauf wie &quot;crash&quot;: true,
    in diesem Moment), und
    setDefault mit &quot;key&quot; und &quot;value&quot; (null entfernt sie), für %1

Zeiten (&quot;start&quot;, &quot;end&quot;, jedes &quot;at&quot;, ein &quot;Update Interval&quot; über 0.5) sind Vielfache von
1/8 Sekunde, damit ihre Summen genau sind; &quot;at&quot; liegt zwischen 0 und &quot;end&quot;. Unbekannte Felder
werden abgelehnt, und die Meldung nennt das Feld (&quot;desktop[2].windows[0].pid: fehlt&quot;).
Beispiele: tests/app/scenarios in den Quellen von Wendle.

Exit-Status: 0 erledigt, 1 eine Datei konnte nicht gelesen oder geschrieben werden, 2 das
Szenario wurde abgelehnt.
</translation>
    </message>
</context>
<context>
    <name>VXSingleInstance</name>
    <message>
        <source>it is not a folder</source>
        <translation>es ist kein Ordner</translation>
    </message>
    <message>
        <source>cannot use the data folder &lt;%1&gt;: %2</source>
        <translation>der Datenordner &lt;%1&gt; kann nicht verwendet werden: %2</translation>
    </message>
    <message>
        <source>the running Wendle gave an answer this version does not know</source>
        <translation>das laufende Wendle gab eine Antwort, die diese Version nicht kennt</translation>
    </message>
    <message>
        <source>cannot lock &lt;%1&gt;: %2</source>
        <translation>&lt;%1&gt; kann nicht gesperrt werden: %2</translation>
    </message>
</context>
<context>
    <name>VXStatusCommand</name>
    <message>
        <source>The saved record could not be read when Wendle started; it is kept as &lt;%1&gt;.</source>
        <translation>Die gespeicherte Aufzeichnung konnte beim Start von Wendle nicht gelesen werden; sie ist als &lt;%1&gt; aufbewahrt.</translation>
    </message>
    <message>
        <source>State: </source>
        <translation>Zustand: </translation>
    </message>
    <message>
        <source>hibernating</source>
        <translation>ruhend</translation>
    </message>
    <message>
        <source>paused</source>
        <translation>angehalten</translation>
    </message>
    <message>
        <source>tracking</source>
        <translation>erfassend</translation>
    </message>
    <message>
        <source>Nothing has been tracked yet.</source>
        <translation>Noch wurde nichts erfasst.</translation>
    </message>
    <message>
        <source>Applications</source>
        <translation>Programme</translation>
    </message>
    <message>
        <source>Pools</source>
        <translation>Pools</translation>
    </message>
    <message>
        <source>Front: </source>
        <translation>Vorne: </translation>
    </message>
    <message>
        <source>no tracked application</source>
        <translation>kein erfasstes Programm</translation>
    </message>
    <message>
        <source>Usage: wendle status
Shows what the running Wendle sees now; without one, the saved record.
</source>
        <translation>Aufruf: wendle status
Zeigt, was das laufende Wendle gerade sieht; ohne eines die gespeicherte Aufzeichnung.
</translation>
    </message>
    <message>
        <source>Wendle is not running, and its saved record &lt;%1&gt; cannot be read.</source>
        <translation>Wendle läuft nicht, und seine gespeicherte Aufzeichnung &lt;%1&gt; kann nicht gelesen werden.</translation>
    </message>
    <message>
        <source>Wendle is not running; this is the record saved in &lt;%1&gt;.</source>
        <translation>Wendle läuft nicht; dies ist die in &lt;%1&gt; gespeicherte Aufzeichnung.</translation>
    </message>
    <message>
        <source>Front Time</source>
        <translation>Vordergrundzeit</translation>
    </message>
    <message>
        <source>Time</source>
        <translation>Zeit</translation>
    </message>
    <message>
        <source>Wendle is not running, and its saved record cannot be shown: %1.</source>
        <translation>Wendle läuft nicht, und seine gespeicherte Aufzeichnung kann nicht gezeigt werden: %1.</translation>
    </message>
</context>
<context>
    <name>VXStatusItemPanel</name>
    <message>
        <source>Wendle</source>
        <translation>Wendle</translation>
    </message>
    <message>
        <source>Organizer (Ctrl+1)</source>
        <translation>Organizer (Strg+1)</translation>
    </message>
    <message>
        <source>Activity Report (Ctrl+2)</source>
        <translation>Aktivitätsbericht (Strg+2)</translation>
    </message>
</context>
<context>
    <name>VXStatusItemPanelResizeView</name>
    <message>
        <source>Resize</source>
        <translation>Größe ändern</translation>
    </message>
</context>
<context>
    <name>VXStringExtensions</name>
    <message>
        <source>1 day</source>
        <translation>1 Tag</translation>
    </message>
    <message>
        <source>%@ days</source>
        <translation>%@ Tage</translation>
    </message>
    <message>
        <source>Not found</source>
        <translation>Nicht gefunden</translation>
    </message>
    <message>
        <source>Currently not available</source>
        <translation>Zurzeit nicht verfügbar</translation>
    </message>
</context>
<context>
    <name>VXToplevelDesktop</name>
    <message>
        <source>%1 is not available here.</source>
        <translation>%1 ist hier nicht verfügbar.</translation>
    </message>
    <message>
        <source>&lt;%1&gt; has no open window.</source>
        <translation>&lt;%1&gt; hat kein geöffnetes Fenster.</translation>
    </message>
</context>
<context>
    <name>VXTrackerModule</name>
    <message>
        <source>cannot start tracking: its module is missing (looked for &lt;%1&gt;)</source>
        <translation>die Zeiterfassung kann nicht starten: Das Modul dafür fehlt (gesucht unter &lt;%1&gt;)</translation>
    </message>
    <message>
        <source>cannot start tracking: its module &lt;%1&gt; cannot be loaded: %2</source>
        <translation>die Zeiterfassung kann nicht starten: Das Modul &lt;%1&gt; kann nicht geladen werden: %2</translation>
    </message>
</context>
<context>
    <name>VXTrackerProgram</name>
    <message>
        <source>another Wendle holds &lt;%1&gt; but does not answer</source>
        <translation>ein anderes Wendle hält &lt;%1&gt;, antwortet aber nicht</translation>
    </message>
    <message>
        <source>Wendle is already running.</source>
        <translation>Wendle läuft bereits.</translation>
    </message>
    <message>
        <source>wendle: cannot save the record to &lt;%1&gt;; it is kept in the settings (&lt;%2&gt;) until a save succeeds</source>
        <translation>wendle: Die Aufzeichnung kann nicht nach &lt;%1&gt; gespeichert werden; sie bleibt in den Einstellungen (&lt;%2&gt;), bis ein Speichern gelingt</translation>
    </message>
    <message>
        <source>wendle: cannot save the record to &lt;%1&gt;, nor in the settings: what was tracked since the last save is lost</source>
        <translation>wendle: Die Aufzeichnung kann weder nach &lt;%1&gt; noch in den Einstellungen gespeichert werden: Was seit dem letzten Speichern erfasst wurde, ist verloren</translation>
    </message>
    <message>
        <source>the running Wendle has no display to show the report on</source>
        <translation>das laufende Wendle hat keinen Bildschirm, um den Bericht zu zeigen</translation>
    </message>
    <message>
        <source>the live report cannot be shown</source>
        <translation>der Live-Bericht kann nicht gezeigt werden</translation>
    </message>
    <message>
        <source>Wendle is running. %1</source>
        <translation>Wendle läuft. %1</translation>
    </message>
    <message>
        <source>the running Wendle cannot write out its record</source>
        <translation>das laufende Wendle kann seine Aufzeichnung nicht ausgeben</translation>
    </message>
    <message>
        <source>cannot import &lt;%1&gt;: the record as it is cannot be kept as &lt;%2&gt;</source>
        <translation>&lt;%1&gt; kann nicht importiert werden: Die Aufzeichnung, wie sie ist, kann nicht als &lt;%2&gt; aufbewahrt werden</translation>
    </message>
    <message>
        <source>imported &lt;%1&gt;, but it cannot be saved to &lt;%2&gt;: Wendle tries again at its next save</source>
        <translation>&lt;%1&gt; importiert, aber es kann nicht nach &lt;%2&gt; gespeichert werden: Wendle versucht es beim nächsten Speichern erneut</translation>
    </message>
    <message>
        <source>imported &lt;%1&gt; into the running Wendle, which saved it to &lt;%2&gt;</source>
        <translation>&lt;%1&gt; in das laufende Wendle importiert, das es nach &lt;%2&gt; gespeichert hat</translation>
    </message>
    <message>
        <source>the previous record is kept as &lt;%1&gt;; Undo in Wendle brings it back too</source>
        <translation>die bisherige Aufzeichnung ist als &lt;%1&gt; aufbewahrt; auch Widerrufen in Wendle holt sie zurück</translation>
    </message>
    <message>
        <source>Wendle is hibernating</source>
        <translation>Wendle ruht</translation>
    </message>
    <message>
        <source>Wendle is paused</source>
        <translation>Wendle ist angehalten</translation>
    </message>
    <message>
        <source>Wendle is tracking</source>
        <translation>Wendle erfasst</translation>
    </message>
    <message>
        <source>it is not a CSV file exported by Wendle</source>
        <translation>es ist keine von Wendle exportierte CSV-Datei</translation>
    </message>
    <message>
        <source>cannot open &lt;%1&gt; as a report: %2</source>
        <translation>&lt;%1&gt; kann nicht als Bericht geöffnet werden: %2</translation>
    </message>
    <message>
        <source>there is no display to show &lt;%1&gt; on</source>
        <translation>es gibt keinen Bildschirm, um &lt;%1&gt; zu zeigen</translation>
    </message>
    <message>
        <source>cannot open &lt;%1&gt; as a report: it is not a CSV file</source>
        <translation>&lt;%1&gt; kann nicht als Bericht geöffnet werden: Es ist keine CSV-Datei</translation>
    </message>
    <message>
        <source>the running Wendle has no display to show the help on</source>
        <translation>das laufende Wendle hat keinen Bildschirm, um die Hilfe zu zeigen</translation>
    </message>
    <message>
        <source>there is no help page &apos;%1&apos;</source>
        <translation>es gibt keine Hilfeseite „%1“</translation>
    </message>
</context>
<context>
    <name>VXUserDefaults</name>
    <message>
        <source>Export Folder Found</source>
        <translation>Exportordner gefunden</translation>
    </message>
    <message>
        <source>You have previously used a version of Wendle that may have exported data to the following folder:

%@

If you want to continue using this folder for exports, please unlock it to give Wendle access.</source>
        <translation>Sie haben zuvor eine Version von Wendle verwendet, die möglicherweise Daten in folgenden Ordner exportiert hat:

%@

Wenn Sie diesen Ordner weiter für Exporte verwenden möchten, entsperren Sie ihn bitte, um Wendle Zugriff zu geben.</translation>
    </message>
    <message>
        <source>Unlock...</source>
        <translation>Entsperren …</translation>
    </message>
    <message>
        <source>Switch to Sandbox Default</source>
        <translation>Zur Sandbox-Vorgabe wechseln</translation>
    </message>
</context>
<context>
    <name>VXWelcomeWindow</name>
    <message>
        <source>Wendle</source>
        <translation>Wendle</translation>
    </message>
    <message>
        <source>This desktop shows no tray icons, so Wendle lives in windows.</source>
        <translation>Dieser Desktop zeigt keine Symbole im Infobereich, daher lebt Wendle in Fenstern.</translation>
    </message>
</context>
<context>
    <name>VXWhenParser</name>
    <message>
        <source>&quot;%1&quot; is out of range</source>
        <translation>„%1“ liegt außerhalb des Bereichs</translation>
    </message>
    <message>
        <source>&quot;%1&quot; is too long ago</source>
        <translation>„%1“ ist zu lange her</translation>
    </message>
    <message>
        <source>&quot;%1&quot; is not a date</source>
        <translation>„%1“ ist kein Datum</translation>
    </message>
    <message>
        <source>&quot;%1&quot; is not a time of day</source>
        <translation>„%1“ ist keine Uhrzeit</translation>
    </message>
    <message>
        <source>&quot;%1&quot; is not a time: use %2</source>
        <translation>„%1“ ist keine Zeitangabe: Verwenden Sie %2</translation>
    </message>
    <message>
        <source>a date (2026-11-20), a date and time (&quot;2026-11-20 14:00&quot;), now, today, yesterday, &quot;N days ago&quot; or &quot;N hours ago&quot;</source>
        <translation>ein Datum (2026-11-20), ein Datum mit Uhrzeit („2026-11-20 14:00“), now, today, yesterday, „N days ago“ oder „N hours ago“</translation>
    </message>
</context>
<context>
    <name>VXX11Desktop</name>
    <message>
        <source>The window manager cannot be asked to do this.</source>
        <translation>Der Fenstermanager kann darum nicht gebeten werden.</translation>
    </message>
    <message>
        <source>&lt;%1&gt; has no open window.</source>
        <translation>&lt;%1&gt; hat kein geöffnetes Fenster.</translation>
    </message>
</context>
<context>
    <name>Welcome</name>
    <message>
        <source>Welcome to Wendle</source>
        <translation>Willkommen bei Wendle</translation>
    </message>
    <message>
        <source>Wendle keeps track of the time you spend in each application and window, all day, on its own. Where would you like it to live?</source>
        <translation>Wendle erfasst den ganzen Tag selbstständig, wie viel Zeit Sie in jedem Programm und jedem Fenster verbringen. Wo soll es seinen Platz haben?</translation>
    </message>
    <message>
        <source>In windows: the organizer and the report are ordinary windows with a menu bar and an entry in the taskbar.</source>
        <translation>In Fenstern: Der Organizer und der Bericht sind gewöhnliche Fenster mit einer Menüleiste und einem Eintrag in der Taskleiste.</translation>
    </message>
    <message>
        <source>In the tray: a small icon in the panel, whose menu holds everything; nothing else on screen until you ask for it.</source>
        <translation>Im Infobereich: ein kleines Symbol in der Leiste, dessen Menü alles enthält; sonst nichts auf dem Bildschirm, bis Sie danach fragen.</translation>
    </message>
    <message>
        <source>You can change this at any time in the preferences.</source>
        <translation>Sie können das jederzeit in den Einstellungen ändern.</translation>
    </message>
    <message>
        <source>In the &amp;Tray</source>
        <translation>Im &amp;Infobereich</translation>
    </message>
    <message>
        <source>In &amp;Windows</source>
        <translation>In &amp;Fenstern</translation>
    </message>
</context>
</TS>
