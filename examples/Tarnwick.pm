# Runs Tarnwick for the scripts beside this file.
package Tarnwick;
use strict;
use warnings;
use Exporter 'import';
our @EXPORT = qw(tarnwick refuse);

my $child;

# tarnwick(SECONDS, OPERAND...): what a run prints, without the module's carriage returns, and its
# wait status. A silent module never ends a run, so SIGTERM does after SECONDS.
sub tarnwick {
    my ($seconds, @operands) = @_;
    $child = open my $pipe, '-|', 'Tarnwick', @operands or die "Cannot run Tarnwick: $!\n";
    local $SIG{ALRM} = sub { kill TERM => $child };    # Macs have no timeout(1)
    alarm $seconds;
    my $output = join('', <$pipe>) =~ tr/\r//dr;
    alarm 0;
    close $pipe;
    undef $child;
    return ($output, $?);
}

# Wrong usage.
sub refuse {
    print STDERR @_;
    exit 2;
}

# A script that is interrupted still runs its END blocks, which leave the station as it should be;
# until the run at hand is over, it holds the module's tty.
for my $signal (qw(HUP INT TERM)) {
    $SIG{$signal} = sub {
        if ($child) { kill TERM => $child; waitpid $child, 0 }
        exit 1;
    };
}

1;
