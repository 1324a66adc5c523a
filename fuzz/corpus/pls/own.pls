[playlist]
File1=/m/a.mp3
File2=/m/b.mp3
File3=/m/c.mp3
NumberOfEntries=2
Version=2
