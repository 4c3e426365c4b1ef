"""Sets a volatile parameter and reads it back, since a file that could not be made is no error."""

import lterouter

lterouter.ram.open()
lterouter.ram.write("operator", "Testnet")
print("operator:", lterouter.ram.read("operator"))
try:
    lterouter.ram.read("no-such-parameter")
except lterouter.ParameterError as error:
    print(f"{error} (code {error.code})")
