[playlist]
File1=/music/Rock/a.mp3
File2=http://stream.example:8000/live
file1=duplicate
NumberOfEntries=1
Version=2
