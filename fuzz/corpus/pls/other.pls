[playlist]
File1=http://127.0.0.1:8000/live
Title1=Live
Length1=-1
File2=../Music/a.mp3
NumberOfEntries=2
Version=2
