[playlist]
NumberOfEntries=99999999999
File1=/a
