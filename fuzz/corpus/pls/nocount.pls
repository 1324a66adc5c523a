[PLAYLIST]
file1=file:///home/m/a%20b.mp3
file2=Music\\x.mp3
